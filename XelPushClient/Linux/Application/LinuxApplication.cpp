#include "XelPushClient/Linux/Application/LinuxApplication.h"

#include <limits>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

namespace {

/// The code that the platform gives where remote notifications are not supported.
constexpr std::string_view kNoPushTokenDomain = "NSCocoaErrorDomain";
constexpr std::int64_t kNoPushTokenCode = 3010;

}  // namespace

LinuxApplication::LinuxApplication(Surroundings surroundings)
    : surroundings_(std::move(surroundings)), life_(std::make_shared<LinuxApplication*>(this)) {}

LinuxApplication::~LinuxApplication() = default;

void LinuxApplication::enter(UIApplicationState state, std::string_view notification) {
    state_ = state;
    postLifecycleNotification(notification);
}

void LinuxApplication::willResignActive() {
    if (state_ == UIApplicationState::Active) {
        enter(UIApplicationState::Inactive, UIApplicationWillResignActiveNotification);
    }
}

void LinuxApplication::enterBackground(std::chrono::milliseconds longestTime) {
    const auto held = holdItself();
    willResignActive();
    limitBackgroundTime(longestTime);
    if (state_ != UIApplicationState::Background) {
        enter(UIApplicationState::Background, UIApplicationDidEnterBackgroundNotification);
    }
}

void LinuxApplication::willEnterForeground() {
    if (state_ != UIApplicationState::Background) {
        return;
    }
    endBackgroundTime();
    enter(UIApplicationState::Inactive, UIApplicationWillEnterForegroundNotification);
}

void LinuxApplication::becomeActive() {
    const auto held = holdItself();
    willEnterForeground();
    if (state_ != UIApplicationState::Active) {
        enter(UIApplicationState::Active, UIApplicationDidBecomeActiveNotification);
    }
}

void LinuxApplication::willTerminate() {
    postLifecycleNotification(UIApplicationWillTerminateNotification);
}

void LinuxApplication::setLocalNotificationPresenter(Presenter presenter, Canceller canceller) {
    presenter_ = std::move(presenter);
    canceller_ = std::move(canceller);
}

void LinuxApplication::limitBackgroundTime(std::chrono::milliseconds longestTime) {
    const auto deadline = surroundings_.clock->steadyNow() + longestTime;
    if (backgroundDeadline_ && *backgroundDeadline_ <= deadline) {
        return;
    }
    endBackgroundTime();
    backgroundDeadline_ = deadline;
    backgroundTimer_ = surroundings_.runLoop->scheduleTimer(longestTime, [weak = std::weak_ptr(life_)] {
        if (const auto life = weak.lock()) {
            (*life)->backgroundTimeIsUp();
        }
    });
}

void LinuxApplication::endBackgroundTime() {
    backgroundDeadline_.reset();
    if (const auto timer = std::exchange(backgroundTimer_, nullptr)) {
        timer->invalidate();
    }
}

void LinuxApplication::backgroundTimeIsUp() {
    const auto held = holdItself();
    std::vector<UIBackgroundTaskIdentifier> running;
    for (const auto& [identifier, handler] : tasks_) {
        running.push_back(identifier);
    }
    for (const UIBackgroundTaskIdentifier identifier : running) {
        const auto task = tasks_.find(identifier);  // a handler before may have ended it
        if (task == tasks_.end()) {
            continue;
        }
        if (const auto handler = std::exchange(task->second, nullptr)) {
            handler();
        }
        endBackgroundTask(identifier);
    }
}

UIBackgroundTaskIdentifier LinuxApplication::beginBackgroundTaskWithName(
    std::string_view /*name*/, std::function<void()> expirationHandler) {
    if (backgroundTimeRemaining() <= 0.0) {
        return UIBackgroundTaskInvalid;
    }
    tasks_.emplace(++lastTask_, std::move(expirationHandler));
    return lastTask_;
}

void LinuxApplication::endBackgroundTask(UIBackgroundTaskIdentifier identifier) {
    if (tasks_.erase(identifier) > 0 && tasks_.empty() && backgroundTasksEndedHandler_) {
        backgroundTasksEndedHandler_();
    }
}

double LinuxApplication::backgroundTimeRemaining() const {
    if (!backgroundDeadline_) {
        return std::numeric_limits<double>::max();
    }
    const std::chrono::duration<double> left = *backgroundDeadline_ - surroundings_.clock->steadyNow();
    return left.count() > 0.0 ? left.count() : 0.0;
}

void LinuxApplication::answer(std::weak_ptr<UIApplicationDelegate> requester, Answer answer) {
    surroundings_.runLoop->post(
        [weak = std::weak_ptr(life_), requester = std::move(requester), answer = std::move(answer)] {
            const auto life = weak.lock();
            const auto delegate = requester.lock();
            if (life && delegate) {
                answer(**life, *delegate);
            }
        });
}

void LinuxApplication::registerUserNotificationSettings(const UIUserNotificationSettings& settings,
                                                        std::weak_ptr<UIApplicationDelegate> requester) {
    typesAskedFor_ = settings.types;
    answer(std::move(requester), [granted = currentUserNotificationSettings()](
                                     LinuxApplication& self, UIApplicationDelegate& delegate) {
        delegate.applicationDidRegisterUserNotificationSettings(self, granted);
    });
}

void LinuxApplication::registerForRemoteNotificationTypes(std::uint32_t types,
                                                          std::weak_ptr<UIApplicationDelegate> requester) {
    typesAskedFor_ = types;
    registerForRemoteNotifications(std::move(requester));
}

void LinuxApplication::registerForRemoteNotifications(std::weak_ptr<UIApplicationDelegate> requester) {
    if (tokenSource_ == nullptr) {
        answer(std::move(requester), [](LinuxApplication& self, UIApplicationDelegate& delegate) {
            delegate.applicationDidFailToRegisterForRemoteNotificationsWithError(
                self, makeError(kNoPushTokenDomain, kNoPushTokenCode,
                                "Remote notifications are not supported: this system gives no push tokens"));
        });
        return;
    }
    std::erase_if(tokenRequesters_,
                  [&](const auto& known) { return known.expired() || known.lock() == requester.lock(); });
    tokenRequesters_.push_back(requester);
    tokenSource_->requestToken([weak = std::weak_ptr(life_), requester](const Result<Data>& token) {
        const auto life = weak.lock();
        const auto delegate = requester.lock();
        if (!life || !delegate) {
            return;
        }
        if (token) {
            delegate->applicationDidRegisterForRemoteNotificationsWithDeviceToken(**life, token.value());
        } else {
            delegate->applicationDidFailToRegisterForRemoteNotificationsWithError(**life, token.error());
        }
    });
}

void LinuxApplication::pushTokenHasChanged(const Data& token) {
    for (const auto& requester : tokenRequesters_) {
        answer(requester, [token](LinuxApplication& self, UIApplicationDelegate& delegate) {
            delegate.applicationDidRegisterForRemoteNotificationsWithDeviceToken(self, token);
        });
    }
}

void LinuxApplication::receiveRemoteNotification(Dictionary payload) {
    if (notifications_.size() >= kMostKeptNotifications) {
        notifications_.pop_front();
        surroundings_.logSink->write(
            "The oldest remote notification is dropped: too many wait for somebody to take them");
    }
    notifications_.push_back(std::move(payload));
    scheduleTelling();
}

void LinuxApplication::scheduleTelling() {
    if (notifications_.empty()) {
        return;
    }
    surroundings_.runLoop->post([weak = std::weak_ptr(life_)] {
        if (const auto life = weak.lock()) {
            (*life)->tellNextNotification();
        }
    });
}

void LinuxApplication::tellNextNotification() {
    if (notifications_.empty() || !hasDelegate()) {
        return;
    }
    const Dictionary payload = std::move(notifications_.front());
    notifications_.pop_front();
    scheduleTelling();  // before a delegate that may throw
    tellRemoteNotification(payload);
}

void LinuxApplication::setApplicationIconBadgeNumber(std::int64_t number) {
    badge_ = number;
    if (badgePresenter_) {
        badgePresenter_(number);
    }
}

void LinuxApplication::presentLocalNotificationNow(const UILocalNotification& notification) {
    if (notification.applicationIconBadgeNumber > 0 &&
        (allowedNotificationTypes() & UNNotificationOptionBadge) != 0) {
        setApplicationIconBadgeNumber(notification.applicationIconBadgeNumber);
    }
    if (presenter_) {
        const Presenter presenter = presenter_;  // it may set another one
        presenter(notification);
    } else if (!std::exchange(hasLoggedMissingPresenter_, true)) {
        surroundings_.logSink->write(
            "A local notification is not shown: no notification service is connected");
    }
}

void LinuxApplication::cancelAllLocalNotifications() {
    if (canceller_) {
        canceller_();
    }
}

}  // namespace xel
