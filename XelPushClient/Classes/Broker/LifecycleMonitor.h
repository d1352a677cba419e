#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

/// Hears what outside circumstances ask of the connection. On the manager's run loop.
class LifecycleObserver {
public:
    virtual ~LifecycleObserver() = default;
    /// The network came back, or the application came to the front: what is pending may go on.
    virtual void pendingConnectToServer() = 0;
    /// The application's time is up, in the background or for good.
    virtual void connectionMustEnd() = 0;
};

/// Follows reachability and the host application's lifecycle, and holds the background task.
///
/// Owner: the manager. Thread: the manager's run loop. Does not know the connection.
class LifecycleMonitor {
public:
    struct Surroundings {
        const ClientLife& life;
        NSRunLoop& runLoop;
        UIApplication& application;
        ReachabilityFactory& reachability;
        std::shared_ptr<NSNotificationCenter> notificationCenter;
        const LogOutput& log;
        EventFanout& fanout;
        LifecycleObserver& observer;
    };

    explicit LifecycleMonitor(const Surroundings& surroundings);
    LifecycleMonitor(const LifecycleMonitor&) = delete;
    LifecycleMonitor& operator=(const LifecycleMonitor&) = delete;
    ~LifecycleMonitor();

    [[nodiscard]] bool isServerReachable() const { return isServerReachable_; }
    [[nodiscard]] PushClientServerReachabilityNetworkType serverNetworkType() const {
        return serverNetworkType_;
    }
    [[nodiscard]] UIBackgroundTaskIdentifier backgroundTask() const { return backgroundTask_; }

    /// Starts hearing the application's lifecycle notifications, and reachability.
    void observeApplication();
    void observeReachability();
    void stopObservingApplication();
    /// The client has ended: nothing more is heard.
    void end();

    void handleReachabilityStatus();
    void applicationDidBecomeActive(UIApplication& application);
    void applicationWillResignActive(UIApplication& application);
    void applicationWillEnterForeground(UIApplication& application);
    /// Begins a background task of the application, which outlives the task.
    void applicationDidEnterBackground(UIApplication& application);
    /// Queues the connection's end and returns at once.
    void applicationWillTerminate(UIApplication& application);

    /// Ends the background task, if one is running.
    void endBackgroundTask();

    /// The application that a lifecycle notification is about; none when it is about something else.
    [[nodiscard]] static UIApplication* applicationFromNotification(const NSNotification& notification);

private:
    using ApplicationOperation = void (LifecycleMonitor::*)(UIApplication&);
    void observe(std::string_view name, ApplicationOperation operation);
    void backgroundTimeIsUp(const UIApplication& application);

    Surroundings surroundings_;
    std::shared_ptr<PushClientServerReachability> reachability_;
    /// Both are written on the loop; hosts that hear a broadcast ask on its thread.
    std::atomic<bool> isServerReachable_ = false;
    std::atomic<PushClientServerReachabilityNetworkType> serverNetworkType_ =
        PushClientServerReachabilityNoNetworkFoundType;
    UIBackgroundTaskIdentifier backgroundTask_ = UIBackgroundTaskInvalid;
    /// Whose task it is; null while there is none.
    UIApplication* backgroundTaskOwner_ = nullptr;
    std::vector<NSNotificationCenter::Token> observations_;
    ClientLife::WayInto<LifecycleMonitor> wayIn_;
};

}  // namespace xel
