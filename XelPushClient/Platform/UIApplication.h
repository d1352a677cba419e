#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Platform/UILocalNotification.h"

namespace xel {

enum class UIApplicationState { Active = 0, Inactive = 1, Background = 2 };

/// Names a background task; 0 names none.
using UIBackgroundTaskIdentifier = std::uint64_t;
inline constexpr UIBackgroundTaskIdentifier UIBackgroundTaskInvalid = 0;

/// Names of the lifecycle notifications; each is posted with the application as object.
inline constexpr std::string_view UIApplicationWillTerminateNotification =
    "UIApplicationWillTerminateNotification";
inline constexpr std::string_view UIApplicationDidBecomeActiveNotification =
    "UIApplicationDidBecomeActiveNotification";
inline constexpr std::string_view UIApplicationDidEnterBackgroundNotification =
    "UIApplicationDidEnterBackgroundNotification";
inline constexpr std::string_view UIApplicationWillEnterForegroundNotification =
    "UIApplicationWillEnterForegroundNotification";
inline constexpr std::string_view UIApplicationWillResignActiveNotification =
    "UIApplicationWillResignActiveNotification";

/// Bits of the kinds of notification that the user allows.
struct UIUserNotificationSettings {
    std::uint32_t types = 0;
};

class UIApplication;

/// Receives the answers to requests for permission or a push token, and remote notifications. Called on
/// the machine's run loop, never inside a request. When the token changes, everybody who has asked for one
/// is told again. An operation that is not overridden does nothing.
class UIApplicationDelegate {
public:
    virtual ~UIApplicationDelegate() = default;
    virtual void applicationDidRegisterUserNotificationSettings(
        UIApplication& /*application*/, const UIUserNotificationSettings& /*settings*/) {}
    virtual void applicationDidRegisterForRemoteNotificationsWithDeviceToken(UIApplication& /*application*/,
                                                                             const Data& /*deviceToken*/) {}
    virtual void applicationDidFailToRegisterForRemoteNotificationsWithError(UIApplication& /*application*/,
                                                                             const NSError& /*error*/) {}
    virtual void applicationDidReceiveRemoteNotification(UIApplication& /*application*/,
                                                         const Dictionary& /*payload*/) {}
};

/// The host application as the operating system sees it: its state, its lifecycle, its badge and its
/// rights.
///
/// Posts its lifecycle notifications, with itself as object and its new state already set, to every
/// attached notification centre. It takes every step between two states, and none twice: from the front it
/// resigns active before it enters the background; from the background it enters the foreground before it
/// becomes active.
/// Thread: the machine's run loop. An observer may drop the last reference to the application: whatever
/// calls out holds it.
class UIApplication : public NSObject, public std::enable_shared_from_this<UIApplication> {
public:
    UIApplication();
    ~UIApplication() override;

    /// Attaches a home's notification centre, until that goes.
    void attachNotificationCenter(const std::shared_ptr<NSNotificationCenter>& center);

    /// Attaches a receiver of remote notifications, until that goes. A platform that gets remote
    /// notifications keeps those that come while no receiver is attached, and goes on with the next ones
    /// after a receiver that throws.
    void attachDelegate(const std::shared_ptr<UIApplicationDelegate>& delegate);

    [[nodiscard]] virtual UIApplicationState applicationState() const = 0;

    /// Asks to be left running in the background for a while. Returns a new identifier, or 0 when refused,
    /// as every request is from when the time is used up until the foreground. The handler is called once
    /// when the time is used up, unless the task was ended before; a task that it leaves running ends then.
    virtual UIBackgroundTaskIdentifier beginBackgroundTaskWithName(
        std::string_view name, std::function<void()> expirationHandler) = 0;
    /// Harmless for a task that is not running.
    virtual void endBackgroundTask(UIBackgroundTaskIdentifier identifier) = 0;
    /// Seconds left of the background time, 0 when it is used up; very large while the application is in
    /// front.
    [[nodiscard]] virtual double backgroundTimeRemaining() const = 0;

    [[nodiscard]] virtual std::int64_t applicationIconBadgeNumber() const = 0;
    virtual void setApplicationIconBadgeNumber(std::int64_t number) = 0;

    /// Whether `registerUserNotificationSettings` is there; older systems have
    /// `registerForRemoteNotificationTypes` only.
    [[nodiscard]] virtual bool respondsToRegisterUserNotificationSettings() const = 0;
    virtual void registerUserNotificationSettings(const UIUserNotificationSettings& settings,
                                                  std::weak_ptr<UIApplicationDelegate> requester) = 0;
    virtual void registerForRemoteNotificationTypes(std::uint32_t types,
                                                    std::weak_ptr<UIApplicationDelegate> requester) = 0;
    virtual void registerForRemoteNotifications(std::weak_ptr<UIApplicationDelegate> requester) = 0;
    [[nodiscard]] virtual UIUserNotificationSettings currentUserNotificationSettings() const = 0;

    /// Shows it. A badge number over 0 becomes the application's where badges are allowed.
    virtual void presentLocalNotificationNow(const UILocalNotification& notification) = 0;
    virtual void cancelAllLocalNotifications() = 0;

protected:
    /// For an operation that calls out and has work to do afterwards; null when nobody shares the
    /// application.
    [[nodiscard]] std::shared_ptr<UIApplication> holdItself() { return weak_from_this().lock(); }

    /// Posts a lifecycle notification to every attached centre.
    void postLifecycleNotification(std::string_view name);

    /// Whether a delegate is attached.
    [[nodiscard]] bool hasDelegate() const;
    /// Tells every attached delegate of a remote notification.
    void tellRemoteNotification(const Dictionary& payload);

    /// Called inside `attachDelegate`, when the delegate may not be whole yet.
    virtual void delegateWasAttached() {}

private:
    struct Attached;
    std::unique_ptr<Attached> attached_;
};

}  // namespace xel
