#include "XelPushClient/Testing/FakeApplication.h"

#include <limits>
#include <utility>

namespace xel {

void FakeApplication::enter(UIApplicationState state, std::string_view notification) {
    state_ = state;
    postLifecycleNotification(notification);
}

void FakeApplication::willResignActive() {
    enter(UIApplicationState::Inactive, UIApplicationWillResignActiveNotification);
}

void FakeApplication::didEnterBackground() {
    enter(UIApplicationState::Background, UIApplicationDidEnterBackgroundNotification);
}

void FakeApplication::willEnterForeground() {
    enter(UIApplicationState::Inactive, UIApplicationWillEnterForegroundNotification);
}

void FakeApplication::didBecomeActive() {
    enter(UIApplicationState::Active, UIApplicationDidBecomeActiveNotification);
}

void FakeApplication::willTerminate() {
    postLifecycleNotification(UIApplicationWillTerminateNotification);
}

UIBackgroundTaskIdentifier FakeApplication::beginBackgroundTaskWithName(
    std::string_view name, std::function<void()> expirationHandler) {
    if (isRefusingBackgroundTasks_) {
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
    return state_ == UIApplicationState::Background ? backgroundTimeRemaining_
                                                    : std::numeric_limits<double>::max();
}

void FakeApplication::expireBackgroundTasks() {
    std::vector<std::function<void()>> handlers;
    for (auto& [identifier, task] : tasks_) {
        handlers.push_back(std::exchange(task.expirationHandler, nullptr));
    }
    for (const auto& handler : handlers) {
        if (handler) {
            handler();
        }
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
    auto deliver = [weak = std::weak_ptr(self_), requester, answer = std::move(answer)] {
        const auto self = weak.lock();
        const auto delegate = requester.lock();
        if (self && delegate) {
            answer(**self, *delegate);
        }
    };
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
    granted_.types = settings.types & allowedTypes_;
    answer(requester, [granted = granted_](FakeApplication& self, UIApplicationDelegate& delegate) {
        delegate.applicationDidRegisterUserNotificationSettings(self, granted);
    });
}

void FakeApplication::registerForRemoteNotificationTypes(std::uint32_t types,
                                                         std::weak_ptr<UIApplicationDelegate> requester) {
    tokenRequests_.push_back({"registerForRemoteNotificationTypes", types});
    granted_.types = types & allowedTypes_;
    answerToken(requester);
}

void FakeApplication::registerForRemoteNotifications(std::weak_ptr<UIApplicationDelegate> requester) {
    tokenRequests_.push_back({"registerForRemoteNotifications", 0});
    answerToken(requester);
}

void FakeApplication::receiveRemoteNotification(Dictionary payload) {
    runLoop_->post([weak = std::weak_ptr(self_), payload = std::move(payload)] {
        if (const auto self = weak.lock()) {
            (*self)->tellRemoteNotification(payload);
        }
    });
}

void FakeApplication::presentLocalNotificationNow(const UILocalNotification& notification) {
    presented_.push_back(notification);
}

void FakeApplication::cancelAllLocalNotifications() {
    ++cancelAllCount_;
}

}  // namespace xel
