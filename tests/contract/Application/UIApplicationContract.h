#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/UIApplication.h"

namespace xel::contract {

/// Who asks an application for things, and keeps what it is told.
class AskingDelegate : public UIApplicationDelegate {
public:
    void applicationDidRegisterUserNotificationSettings(UIApplication& /*application*/,
                                                        const UIUserNotificationSettings& settings) override {
        grantedTypes.push_back(settings.types);
    }
    void applicationDidRegisterForRemoteNotificationsWithDeviceToken(UIApplication& /*application*/,
                                                                     const Data& deviceToken) override {
        tokens.push_back(deviceToken);
    }
    void applicationDidFailToRegisterForRemoteNotificationsWithError(UIApplication& /*application*/,
                                                                     const NSError& /*error*/) override {
        ++failures;
    }
    void applicationDidReceiveRemoteNotification(UIApplication& /*application*/,
                                                 const Dictionary& payload) override {
        notifications.push_back(*payload.find("id")->asString());
        if (isThrowing) {
            throw std::runtime_error("not now");
        }
    }

    std::vector<std::uint32_t> grantedTypes;
    std::vector<Data> tokens;
    int failures = 0;
    std::vector<std::string> notifications;
    bool isThrowing = false;
};

/// What every application owes. A subject is default constructible, holds its application alone, and has
///     UIApplication& application();
///     void drop();      // the last reference
///     bool isDropped();  // whether the application has gone
///     void runUntilIdle();  // drives the loop; throws what a block throws
///     void resignActive(); void enterBackground(); void enterForeground(); void becomeActive();
///     void terminate();
///     void useUpBackgroundTime();  // in the background
///     bool hasBackgroundTasks();
///     void allowTypes(std::uint32_t types);  // what the user allows; all at first
///     void giveToken(Data token);  // how requests are answered from now on; with a failure at first
///     void changeToken(Data token);
///     void receive(Dictionary remoteNotification);
template <class Subject>
class UIApplicationContract : public ::testing::Test {
protected:
    UIApplicationContract() {
        subject_.application().attachNotificationCenter(center_);
        for (const std::string_view name :
             {UIApplicationWillTerminateNotification, UIApplicationDidBecomeActiveNotification,
              UIApplicationDidEnterBackgroundNotification, UIApplicationWillEnterForegroundNotification,
              UIApplicationWillResignActiveNotification}) {
            center_->addObserver(std::string(name), nullptr,
                                 [this](const NSNotification& notification) { hear(notification); });
        }
    }

    /// The steps since it was asked last, each with the state that was seen inside.
    [[nodiscard]] std::vector<std::string> takeSteps() { return std::exchange(steps_, {}); }

    UIBackgroundTaskIdentifier begin(std::function<void()> handler = nullptr) {
        return subject_.application().beginBackgroundTaskWithName("work", std::move(handler));
    }

    void receive(const std::string& id) { subject_.receive(Dictionary{{"id", id}}); }

    static UILocalNotification notificationWithBadge(std::int64_t badge) {
        UILocalNotification notification;
        notification.alertBody = "hello";
        notification.applicationIconBadgeNumber = badge;
        return notification;
    }

    using Steps = std::vector<std::string>;
    using State = UIApplicationState;
    Subject subject_;
    std::shared_ptr<NSNotificationCenter> center_ = std::make_shared<NSNotificationCenter>();
    std::shared_ptr<AskingDelegate> delegate_ = std::make_shared<AskingDelegate>();

private:
    void hear(const NSNotification& notification) {
        EXPECT_EQ(notification.object, &subject_.application());
        static constexpr const char* kStates[] = {"active", "inactive", "background"};
        const auto state = static_cast<std::size_t>(subject_.application().applicationState());
        steps_.push_back(notification.name + " " + kStates[state]);
    }

    Steps steps_;
};

TYPED_TEST_SUITE_P(UIApplicationContract);

TYPED_TEST_P(UIApplicationContract, PostsEachStepInItsNewState) {
    using Told = std::vector<std::string>;
    EXPECT_EQ(this->subject_.application().applicationState(), UIApplicationState::Active);
    this->subject_.resignActive();
    EXPECT_EQ(this->takeSteps(), Told{"UIApplicationWillResignActiveNotification inactive"});
    this->subject_.enterBackground();
    EXPECT_EQ(this->takeSteps(), Told{"UIApplicationDidEnterBackgroundNotification background"});
    this->subject_.enterForeground();
    EXPECT_EQ(this->takeSteps(), Told{"UIApplicationWillEnterForegroundNotification inactive"});
    this->subject_.becomeActive();
    EXPECT_EQ(this->takeSteps(), Told{"UIApplicationDidBecomeActiveNotification active"});
    this->subject_.terminate();
    EXPECT_EQ(this->takeSteps(), Told{"UIApplicationWillTerminateNotification active"});
}

TYPED_TEST_P(UIApplicationContract, TakesEveryStepBetween) {
    using Told = std::vector<std::string>;
    this->subject_.enterBackground();
    EXPECT_EQ(this->takeSteps(), (Told{"UIApplicationWillResignActiveNotification inactive",
                                       "UIApplicationDidEnterBackgroundNotification background"}));
    this->subject_.becomeActive();
    EXPECT_EQ(this->takeSteps(), (Told{"UIApplicationWillEnterForegroundNotification inactive",
                                       "UIApplicationDidBecomeActiveNotification active"}));
}

TYPED_TEST_P(UIApplicationContract, TakesNoStepTwice) {
    this->subject_.becomeActive();
    this->subject_.enterForeground();
    EXPECT_EQ(this->takeSteps().size(), 0U);
    this->subject_.resignActive();
    this->subject_.resignActive();
    EXPECT_EQ(this->takeSteps().size(), 1U);
    this->subject_.enterBackground();
    this->subject_.enterBackground();
    this->subject_.resignActive();
    EXPECT_EQ(this->takeSteps().size(), 1U);
    this->subject_.enterForeground();
    this->subject_.enterForeground();
    EXPECT_EQ(this->takeSteps().size(), 1U);
}

TYPED_TEST_P(UIApplicationContract, OutlivesAStepInWhichItsLastReferenceGoes) {
    this->center_->addObserver(std::string(UIApplicationWillResignActiveNotification), nullptr,
                               [this](const NSNotification&) { this->subject_.drop(); });
    this->subject_.enterBackground();
    EXPECT_TRUE(this->subject_.isDropped());
    EXPECT_EQ(this->takeSteps().size(), 2U);
}

TYPED_TEST_P(UIApplicationContract, GivesEachTaskAnIdentifierOfItsOwn) {
    const auto first = this->begin();
    const auto second = this->begin();
    EXPECT_NE(first, UIBackgroundTaskInvalid);
    EXPECT_NE(second, UIBackgroundTaskInvalid);
    EXPECT_NE(first, second);
    this->subject_.application().endBackgroundTask(first);
    this->subject_.application().endBackgroundTask(first);
    this->subject_.application().endBackgroundTask(UIBackgroundTaskInvalid);
    EXPECT_TRUE(this->subject_.hasBackgroundTasks());
    EXPECT_NE(this->begin(), second);
}

TYPED_TEST_P(UIApplicationContract, ExpiresARunningTaskOnceAndEndsIt) {
    int expired = 0;
    this->begin([&] { ++expired; });
    this->begin(nullptr);
    this->subject_.enterBackground();
    this->begin([&] {
        ++expired;
        EXPECT_TRUE(this->subject_.hasBackgroundTasks());
    });
    EXPECT_EQ(expired, 0);
    this->subject_.useUpBackgroundTime();
    EXPECT_EQ(expired, 2);
    EXPECT_FALSE(this->subject_.hasBackgroundTasks());
    this->subject_.becomeActive();
    this->subject_.enterBackground();
    this->subject_.useUpBackgroundTime();
    EXPECT_EQ(expired, 2);
}

TYPED_TEST_P(UIApplicationContract, DoesNotExpireATaskThatWasEnded) {
    int expired = 0;
    this->subject_.enterBackground();
    this->subject_.application().endBackgroundTask(this->begin([&] { ++expired; }));
    UIBackgroundTaskIdentifier later = UIBackgroundTaskInvalid;
    this->begin([&] { this->subject_.application().endBackgroundTask(later); });
    later = this->begin([&] { ++expired; });
    this->subject_.useUpBackgroundTime();
    EXPECT_EQ(expired, 0) << "the handler before ended it";
}

TYPED_TEST_P(UIApplicationContract, RefusesTasksFromWhenTheTimeIsUsedUpUntilTheForeground) {
    this->subject_.enterBackground();
    auto inside = UIBackgroundTaskInvalid + 1;
    this->begin([&] { inside = this->begin(); });
    this->subject_.useUpBackgroundTime();
    EXPECT_EQ(inside, UIBackgroundTaskInvalid);
    EXPECT_EQ(this->begin(), UIBackgroundTaskInvalid);
    this->subject_.enterForeground();
    EXPECT_NE(this->begin(), UIBackgroundTaskInvalid);
}

TYPED_TEST_P(UIApplicationContract, TellsTheBackgroundTimeThatIsLeft) {
    EXPECT_GT(this->subject_.application().backgroundTimeRemaining(), 1e9);
    this->subject_.enterBackground();
    const double left = this->subject_.application().backgroundTimeRemaining();
    EXPECT_GT(left, 0.0);
    EXPECT_LT(left, 3600.0);
    this->subject_.useUpBackgroundTime();
    EXPECT_EQ(this->subject_.application().backgroundTimeRemaining(), 0.0);
    this->subject_.becomeActive();
    EXPECT_GT(this->subject_.application().backgroundTimeRemaining(), 1e9);
}

TYPED_TEST_P(UIApplicationContract, GrantsWhatTheUserAllowsLater) {
    auto& application = this->subject_.application();
    this->subject_.allowTypes(5);
    application.registerUserNotificationSettings({7}, this->delegate_);
    EXPECT_TRUE(this->delegate_->grantedTypes.empty());
    this->subject_.runUntilIdle();
    EXPECT_EQ(this->delegate_->grantedTypes, std::vector<std::uint32_t>{5});
    EXPECT_EQ(application.currentUserNotificationSettings().types, 5U);
    this->subject_.allowTypes(4);
    EXPECT_EQ(application.currentUserNotificationSettings().types, 4U);
}

TYPED_TEST_P(UIApplicationContract, AnswersEachRequestForATokenOnceAndLater) {
    auto& application = this->subject_.application();
    application.registerForRemoteNotifications(this->delegate_);
    EXPECT_EQ(this->delegate_->failures, 0);
    this->subject_.runUntilIdle();
    EXPECT_EQ(this->delegate_->failures, 1);
    this->subject_.giveToken({1, 2});
    application.registerForRemoteNotifications(this->delegate_);
    application.registerForRemoteNotificationTypes(7, this->delegate_);
    EXPECT_TRUE(this->delegate_->tokens.empty());
    this->subject_.runUntilIdle();
    EXPECT_EQ(this->delegate_->tokens, (std::vector<Data>{{1, 2}, {1, 2}}));
    EXPECT_EQ(this->delegate_->failures, 1);
}

TYPED_TEST_P(UIApplicationContract, AnswersNobodyWhoIsGone) {
    auto gone = std::make_shared<AskingDelegate>();
    this->subject_.application().registerForRemoteNotifications(gone);
    this->subject_.application().registerUserNotificationSettings({7}, gone);
    gone.reset();
    EXPECT_NO_THROW(this->subject_.runUntilIdle());
    this->subject_.application().registerForRemoteNotifications(this->delegate_);
    this->subject_.drop();
    EXPECT_NO_THROW(this->subject_.runUntilIdle());
    EXPECT_EQ(this->delegate_->failures, 0) << "the application has gone";
}

TYPED_TEST_P(UIApplicationContract, TellsAllWhoHaveAskedOfAChangedToken) {
    const auto other = std::make_shared<AskingDelegate>();
    this->subject_.application().attachDelegate(other);
    this->subject_.giveToken({1});
    this->subject_.application().registerForRemoteNotifications(this->delegate_);
    this->subject_.application().registerForRemoteNotifications(this->delegate_);
    this->subject_.runUntilIdle();
    this->delegate_->tokens.clear();
    this->subject_.changeToken({2});
    EXPECT_TRUE(this->delegate_->tokens.empty());
    this->subject_.runUntilIdle();
    EXPECT_EQ(this->delegate_->tokens, std::vector<Data>{{2}});
    EXPECT_TRUE(other->tokens.empty()) << "it has not asked";
}

TYPED_TEST_P(UIApplicationContract, KeepsRemoteNotificationsUntilSomebodyIsThere) {
    using Notifications = std::vector<std::string>;
    this->receive("m1");
    this->receive("m2");
    this->subject_.runUntilIdle();
    this->subject_.application().attachDelegate(this->delegate_);
    EXPECT_TRUE(this->delegate_->notifications.empty()) << "it may not be whole yet";
    this->subject_.runUntilIdle();
    EXPECT_EQ(this->delegate_->notifications, (Notifications{"m1", "m2"}));
    this->receive("m3");
    EXPECT_EQ(this->delegate_->notifications.size(), 2U);
    this->subject_.runUntilIdle();
    EXPECT_EQ(this->delegate_->notifications, (Notifications{"m1", "m2", "m3"}));
}

TYPED_TEST_P(UIApplicationContract, LosesNoRemoteNotificationToADelegateThatThrows) {
    this->subject_.application().attachDelegate(this->delegate_);
    this->receive("m1");
    this->receive("m2");
    this->delegate_->isThrowing = true;
    EXPECT_THROW(this->subject_.runUntilIdle(), std::runtime_error);
    this->delegate_->isThrowing = false;
    this->subject_.runUntilIdle();
    EXPECT_EQ(this->delegate_->notifications, (std::vector<std::string>{"m1", "m2"}));
}

TYPED_TEST_P(UIApplicationContract, TakesTheBadgeOfALocalNotificationWhereBadgesAreAllowed) {
    auto& application = this->subject_.application();
    EXPECT_EQ(application.applicationIconBadgeNumber(), 0);
    application.setApplicationIconBadgeNumber(3);
    application.presentLocalNotificationNow(this->notificationWithBadge(0));
    EXPECT_EQ(application.applicationIconBadgeNumber(), 3);
    application.presentLocalNotificationNow(this->notificationWithBadge(5));
    EXPECT_EQ(application.applicationIconBadgeNumber(), 5);
    this->subject_.allowTypes(6);
    application.presentLocalNotificationNow(this->notificationWithBadge(7));
    application.cancelAllLocalNotifications();
    EXPECT_EQ(application.applicationIconBadgeNumber(), 5);
}

REGISTER_TYPED_TEST_SUITE_P(UIApplicationContract, PostsEachStepInItsNewState, TakesEveryStepBetween,
                            TakesNoStepTwice, OutlivesAStepInWhichItsLastReferenceGoes,
                            GivesEachTaskAnIdentifierOfItsOwn, ExpiresARunningTaskOnceAndEndsIt,
                            DoesNotExpireATaskThatWasEnded,
                            RefusesTasksFromWhenTheTimeIsUsedUpUntilTheForeground,
                            TellsTheBackgroundTimeThatIsLeft, GrantsWhatTheUserAllowsLater,
                            AnswersEachRequestForATokenOnceAndLater, AnswersNobodyWhoIsGone,
                            TellsAllWhoHaveAskedOfAChangedToken, KeepsRemoteNotificationsUntilSomebodyIsThere,
                            LosesNoRemoteNotificationToADelegateThatThrows,
                            TakesTheBadgeOfALocalNotificationWhereBadgesAreAllowed);

}  // namespace xel::contract
