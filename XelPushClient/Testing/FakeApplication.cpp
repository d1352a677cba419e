#include "XelPushClient/Testing/FakeApplication.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

void FakeApplication::enter(UIApplicationState state, std::string_view notification) {
    state_ = state;
    postLifecycleNotification(notification);
}

void FakeApplication::willResignActive() {
    if (state_ == UIApplicationState::Active) {
        enter(UIApplicationState::Inactive, UIApplicationWillResignActiveNotification);
    }
}

void FakeApplication::didEnterBackground() {
    const auto held = holdItself();
    willResignActive();
    if (state_ != UIApplicationState::Background) {
        enter(UIApplicationState::Background, UIApplicationDidEnterBackgroundNotification);
    }
}

void FakeApplication::willEnterForeground() {
    if (state_ == UIApplicationState::Background) {
        isBackgroundTimeUsedUp_ = false;
        enter(UIApplicationState::Inactive, UIApplicationWillEnterForegroundNotification);
    }
}

void FakeApplication::didBecomeActive() {
    const auto held = holdItself();
    willEnterForeground();
    if (state_ != UIApplicationState::Active) {
        enter(UIApplicationState::Active, UIApplicationDidBecomeActiveNotification);
    }
}

void FakeApplication::willTerminate() {
    postLifecycleNotification(UIApplicationWillTerminateNotification);
}

void FakeApplication::clearRecords() {
    begunTaskNames_.clear();
    tokenRequests_.clear();
    presented_.clear();
}

void FakeApplication::processHasEnded() {
    tasks_.clear();
    heldAnswers_.clear();
    tokenRequesters_.clear();
}

UIBackgroundTaskIdentifier FakeApplication::beginBackgroundTaskWithName(
    std::string_view name, std::function<void()> expirationHandler) {
    if (isRefusingBackgroundTasks_ || isBackgroundTimeUsedUp_) {
        return UIBackgroundTaskInvalid;
    }
    begunTaskNames_.emplace_back(name);
    tasks_.emplace(++lastTask_, Task{std::string(name), std::move(expirationHandler)});
    return lastTask_;
}

void FakeApplication::endBackgroundTask(UIBackgroundTaskIdentifier identifier) {
    tasks_.erase(identifier);
}

double FakeApplication::backgroundTimeRemaining() const {
    if (state_ != UIApplicationState::Background) {
        return std::numeric_limits<double>::max();
    }
    return backgroundTimeRemaining_.value_or(isBackgroundTimeUsedUp_ ? 0.0 : kBackgroundTime);
}

void FakeApplication::expireBackgroundTasks() {
    if (state_ != UIApplicationState::Background) {
        throw std::logic_error("background time is used up in the background only");
    }
    const auto held = holdItself();
    isBackgroundTimeUsedUp_ = true;
    std::vector<UIBackgroundTaskIdentifier> running;
    for (const auto& [identifier, task] : tasks_) {
        running.push_back(identifier);
    }
    for (const UIBackgroundTaskIdentifier identifier : running) {
        const auto task = tasks_.find(identifier);  // a handler before may have ended it
        if (task == tasks_.end()) {
            continue;
        }
        if (const auto handler = std::exchange(task->second.expirationHandler, nullptr)) {
            handler();
        }
        endBackgroundTask(identifier);
    }
}

std::vector<std::string> FakeApplication::runningBackgroundTaskNames() const {
    std::vector<std::string> names;
    for (const auto& [identifier, task] : tasks_) {
        names.push_back(task.name);
    }
    return names;
}

void FakeApplication::answer(const std::weak_ptr<UIApplicationDelegate>& requester, Answer answer) {
    auto deliver = life_.guarded([requester, answer = std::move(answer)](FakeApplication& self) {
        if (const auto delegate = requester.lock()) {
            answer(self, *delegate);
        }
    });
    // Never told inside the request, as the port promises.
    if (isHoldingAnswers_) {
        heldAnswers_.emplace_back(std::move(deliver));
    } else {
        runLoop_->post(std::move(deliver));
    }
}

void FakeApplication::releaseAnswers() {
    isHoldingAnswers_ = false;
    for (auto& held : std::exchange(heldAnswers_, {})) {
        runLoop_->post(std::move(held));
    }
}

void FakeApplication::answerToken(const std::weak_ptr<UIApplicationDelegate>& requester) {
    std::erase_if(tokenRequesters_,
                  [&](const auto& known) { return known.expired() || known.lock() == requester.lock(); });
    tokenRequesters_.push_back(requester);
    tellToken(requester);
}

void FakeApplication::tellToken(const std::weak_ptr<UIApplicationDelegate>& requester) {
    answer(requester, [](FakeApplication& self, UIApplicationDelegate& delegate) {
        if (const auto* token = std::get_if<Data>(&self.tokenAnswer_)) {
            delegate.applicationDidRegisterForRemoteNotificationsWithDeviceToken(self, Data(*token));
        } else {
            delegate.applicationDidFailToRegisterForRemoteNotificationsWithError(
                self, NSError(std::get<NSError>(self.tokenAnswer_)));
        }
    });
}

void FakeApplication::registerUserNotificationSettings(const UIUserNotificationSettings& settings,
                                                       std::weak_ptr<UIApplicationDelegate> requester) {
    tokenRequests_.push_back({"registerUserNotificationSettings", settings.types});
    typesAskedFor_ = settings.types;
    answer(requester, [granted = currentUserNotificationSettings()](FakeApplication& self,
                                                                    UIApplicationDelegate& delegate) {
        delegate.applicationDidRegisterUserNotificationSettings(self, granted);
    });
}

void FakeApplication::registerForRemoteNotificationTypes(std::uint32_t types,
                                                         std::weak_ptr<UIApplicationDelegate> requester) {
    tokenRequests_.push_back({"registerForRemoteNotificationTypes", types});
    typesAskedFor_ = types;
    answerToken(requester);
}

void FakeApplication::registerForRemoteNotifications(std::weak_ptr<UIApplicationDelegate> requester) {
    tokenRequests_.push_back({"registerForRemoteNotifications", 0});
    answerToken(requester);
}

void FakeApplication::changeToken(const Data& token) {
    answerWithToken(token);
    for (const auto& requester : tokenRequesters_) {
        tellToken(requester);
    }
}

void FakeApplication::receiveRemoteNotification(Dictionary payload) {
    remoteNotifications_.push_back(std::move(payload));
    scheduleTelling();
}

void FakeApplication::scheduleTelling() {
    if (remoteNotifications_.empty()) {
        return;
    }
    runLoop_->post(life_.guarded([](FakeApplication& self) { self.tellNextNotification(); }));
}

void FakeApplication::tellNextNotification() {
    if (remoteNotifications_.empty() || !hasDelegate()) {
        return;
    }
    const Dictionary payload = std::move(remoteNotifications_.front());
    remoteNotifications_.pop_front();
    scheduleTelling();  // before a delegate that may throw
    tellRemoteNotification(payload);
}

void FakeApplication::presentLocalNotificationNow(const UILocalNotification& notification) {
    presented_.push_back(notification);
    if (notification.applicationIconBadgeNumber > 0 && (allowedTypes_ & UNNotificationOptionBadge) != 0) {
        badge_ = notification.applicationIconBadgeNumber;
    }
}

void FakeApplication::cancelAllLocalNotifications() {
    ++cancelAllCount_;
}

}  // namespace xel
