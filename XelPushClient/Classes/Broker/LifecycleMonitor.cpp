#include "XelPushClient/Classes/Broker/LifecycleMonitor.h"

#include <utility>

namespace xel {
namespace {

constexpr std::string_view kBackgroundTaskName = "XEL PUSH BG Task";

}  // namespace

LifecycleMonitor::LifecycleMonitor(const Surroundings& surroundings)
    : surroundings_(surroundings), wayIn_(surroundings.life.wayInto(*this)) {}

LifecycleMonitor::~LifecycleMonitor() {
    end();
}

void LifecycleMonitor::end() {
    if (reachability_) {
        reachability_->stopNotifier();
    }
    stopObservingApplication();
}

UIApplication* LifecycleMonitor::applicationFromNotification(const NSNotification& notification) {
    return dynamic_cast<UIApplication*>(notification.object);
}

void LifecycleMonitor::observe(std::string_view name, ApplicationOperation operation) {
    observations_.push_back(surroundings_.notificationCenter->addObserver(
        name, nullptr, [wayIn = wayIn_, operation](const NSNotification& notification) {
            const auto self = wayIn.hold();
            UIApplication* application = applicationFromNotification(notification);
            if (self && application != nullptr) {
                (self.get()->*operation)(*application);
            }
        }));
}

void LifecycleMonitor::observeApplication() {
    surroundings_.application.attachNotificationCenter(surroundings_.notificationCenter);
    observe(UIApplicationWillTerminateNotification, &LifecycleMonitor::applicationWillTerminate);
    observe(UIApplicationDidBecomeActiveNotification, &LifecycleMonitor::applicationDidBecomeActive);
    observe(UIApplicationDidEnterBackgroundNotification, &LifecycleMonitor::applicationDidEnterBackground);
    observe(UIApplicationWillEnterForegroundNotification, &LifecycleMonitor::applicationWillEnterForeground);
    observe(UIApplicationWillResignActiveNotification, &LifecycleMonitor::applicationWillResignActive);
}

void LifecycleMonitor::observeReachability() {
    reachability_ = surroundings_.reachability.reachabilityForInternetConnection();
    reachability_->setReachabilityBlock([wayIn = wayIn_](PushClientServerReachability&) {
        if (const auto self = wayIn.hold()) {
            self->handleReachabilityStatus();
        }
    });
    reachability_->startNotifier();
    // Where it starts is no change, and not reported.
    isServerReachable_ = reachability_->isReachable();
    serverNetworkType_ = reachability_->currentReachabilityStatus();
}

void LifecycleMonitor::stopObservingApplication() {
    for (const auto& observation : std::exchange(observations_, {})) {
        surroundings_.notificationCenter->removeObserver(observation);
    }
}

void LifecycleMonitor::handleReachabilityStatus() {
    const bool isReachable = reachability_->isReachable();
    const auto networkType = reachability_->currentReachabilityStatus();
    // A notifier may also tell of a change that is none for hosts.
    if (isReachable == isServerReachable_ && networkType == serverNetworkType_) {
        return;
    }
    isServerReachable_ = isReachable;
    serverNetworkType_ = networkType;
    surroundings_.fanout.callBackServerReachabilityChanged(isReachable, networkType);
    // The kind of network decides, and not the flag, which may say otherwise.
    if (networkType != PushClientServerReachabilityNoNetworkFoundType) {
        TVRLog(surroundings_.log, "[%@]: ONLINE! Calling connectToServer",
               "-[PushClientManager handleReachabilityStatus]");
        surroundings_.observer.pendingConnectToServer();
    }
}

// These two are observed and mean nothing: what is pending goes on with
// `applicationWillEnterForeground`.
void LifecycleMonitor::applicationDidBecomeActive(UIApplication& /*application*/) {}

void LifecycleMonitor::applicationWillResignActive(UIApplication& /*application*/) {}

void LifecycleMonitor::applicationWillEnterForeground(UIApplication& /*application*/) {
    TVRLog(surroundings_.log, "[%@] Calling pending registration & connectToServer",
           "-[PushClientManager applicationWillEnterForeground:]");
    surroundings_.observer.pendingConnectToServer();
}

void LifecycleMonitor::applicationDidEnterBackground(UIApplication& application) {
    backgroundTaskOwner_ = &application;
    backgroundTask_ =
        application.beginBackgroundTaskWithName(kBackgroundTaskName, [wayIn = wayIn_, &application] {
            if (const auto self = wayIn.hold()) {
                self->backgroundTimeIsUp(application);
            }
        });
}

void LifecycleMonitor::backgroundTimeIsUp(const UIApplication& application) {
    TVRLog(surroundings_.log, "########################### Expired Background Task!");
    TVRLog(surroundings_.log, "Time remaining: %.1f", application.backgroundTimeRemaining());
    surroundings_.observer.connectionMustEnd();
    // The closing has ended it already, unless there was no connection to close.
    endBackgroundTask();
}

void LifecycleMonitor::applicationWillTerminate(UIApplication& /*application*/) {
    surroundings_.runLoop.post([wayIn = wayIn_] {
        if (const auto self = wayIn.hold()) {
            self->surroundings_.observer.connectionMustEnd();
        }
    });
}

void LifecycleMonitor::endBackgroundTask() {
    if (backgroundTask_ != 0) {
        std::exchange(backgroundTaskOwner_, nullptr)
            ->endBackgroundTask(std::exchange(backgroundTask_, UIBackgroundTaskInvalid));
    }
}

}  // namespace xel
