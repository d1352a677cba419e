#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/FirstAndLast.h"

namespace xel {
namespace {

using namespace std::chrono_literals;

class RecordingDelegate : public UIApplicationDelegate {
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
                                                                     const NSError& error) override {
        errors.push_back(error);
    }
    void applicationDidReceiveRemoteNotification(UIApplication& /*application*/,
                                                 const Dictionary& payload) override {
        notifications.push_back(payload);
        if (isThrowing) {
            throw std::runtime_error("not now");
        }
    }

    std::vector<std::uint32_t> grantedTypes;
    std::vector<Data> tokens;
    std::vector<NSError> errors;
    std::vector<Dictionary> notifications;
    bool isThrowing = false;
};

/// Answers when the test says so.
class HeldTokens : public PushTokenSource {
public:
    void requestToken(Answer answer) override { answers.push_back(std::move(answer)); }
    void attachStore(const std::shared_ptr<NSUserDefaults>& /*store*/) override {}

    std::vector<Answer> answers;
};

UILocalNotification notificationWith(std::string body, std::int64_t badge = 0) {
    UILocalNotification notification;
    notification.alertBody = std::move(body);
    notification.applicationIconBadgeNumber = badge;
    return notification;
}

class LinuxApplicationTest : public testing::Test {
protected:
    LinuxApplicationTest() {
        application_.attachNotificationCenter(center_);
        for (const std::string_view name :
             {UIApplicationWillTerminateNotification, UIApplicationDidBecomeActiveNotification,
              UIApplicationDidEnterBackgroundNotification, UIApplicationWillEnterForegroundNotification,
              UIApplicationWillResignActiveNotification}) {
            center_->addObserver(std::string(name), nullptr, [this](const NSNotification& notification) {
                EXPECT_EQ(notification.object, &application_);
                posted_.push_back(notification.name);
                statesSeen_.push_back(application_.applicationState());
            });
        }
    }

    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<RecordingLogSink> log_ = std::make_shared<RecordingLogSink>();
    std::shared_ptr<NSNotificationCenter> center_ = std::make_shared<NSNotificationCenter>();
    LinuxApplication application_{{runLoop_, std::make_shared<FakeClock>(runLoop_), log_}};
    std::vector<std::string> posted_;
    std::vector<UIApplicationState> statesSeen_;
};

using State = UIApplicationState;

TEST_F(LinuxApplicationTest, IsActiveFromTheStart) {
    EXPECT_EQ(application_.applicationState(), State::Active);
    EXPECT_TRUE(posted_.empty());
}

TEST_F(LinuxApplicationTest, GoesThroughEveryStepToTheBackgroundAndBack) {
    application_.enterBackground();
    application_.becomeActive();
    EXPECT_EQ(posted_, (std::vector<std::string>{"UIApplicationWillResignActiveNotification",
                                                 "UIApplicationDidEnterBackgroundNotification",
                                                 "UIApplicationWillEnterForegroundNotification",
                                                 "UIApplicationDidBecomeActiveNotification"}));
    EXPECT_EQ(statesSeen_,
              (std::vector<State>{State::Inactive, State::Background, State::Inactive, State::Active}));
}

TEST_F(LinuxApplicationTest, TakesNoStepTwice) {
    application_.becomeActive();
    application_.willEnterForeground();
    EXPECT_TRUE(posted_.empty());
    application_.willResignActive();
    application_.willResignActive();
    application_.enterBackground();
    application_.enterBackground();
    EXPECT_EQ(posted_.size(), 2U);
}

TEST_F(LinuxApplicationTest, SaysThatItWillTerminate) {
    application_.willTerminate();
    EXPECT_EQ(posted_, std::vector<std::string>{"UIApplicationWillTerminateNotification"});
}

TEST_F(LinuxApplicationTest, ExpiresTasksOnceWhenTheBackgroundTimeIsUsedUp) {
    int expired = 0;
    application_.beginBackgroundTaskWithName("a", [&] { ++expired; });
    runLoop_->advanceBy(24h);
    EXPECT_EQ(expired, 0) << "the time runs in the background only";

    application_.enterBackground();
    application_.beginBackgroundTaskWithName("b", [&] { ++expired; });
    runLoop_->advanceBy(LinuxApplication::kBackgroundTime - 1s);
    EXPECT_DOUBLE_EQ(application_.backgroundTimeRemaining(), 1.0);
    EXPECT_EQ(expired, 0);
    runLoop_->advanceBy(1s);
    EXPECT_EQ(expired, 2);
    EXPECT_DOUBLE_EQ(application_.backgroundTimeRemaining(), 0.0);
    runLoop_->advanceBy(24h);
    EXPECT_EQ(expired, 2);
}

TEST_F(LinuxApplicationTest, RefusesATaskWhenTheBackgroundTimeIsUsedUp) {
    application_.enterBackground();
    runLoop_->advanceBy(LinuxApplication::kBackgroundTime);
    EXPECT_EQ(application_.beginBackgroundTaskWithName("a", nullptr), UIBackgroundTaskInvalid);
    application_.becomeActive();
    EXPECT_NE(application_.beginBackgroundTaskWithName("a", nullptr), UIBackgroundTaskInvalid);
}

TEST_F(LinuxApplicationTest, EndsATaskThatItsHandlerLeavesRunning) {
    int ended = 0;
    application_.setBackgroundTasksEndedHandler([&] { ++ended; });
    application_.beginBackgroundTaskWithName("a", nullptr);
    const auto other = application_.beginBackgroundTaskWithName("b", [] {});
    application_.enterBackground();
    runLoop_->advanceBy(LinuxApplication::kBackgroundTime - 1s);
    EXPECT_TRUE(application_.hasBackgroundTasks());
    runLoop_->advanceBy(1s);
    EXPECT_FALSE(application_.hasBackgroundTasks());
    EXPECT_EQ(ended, 1);
    application_.endBackgroundTask(other);
    EXPECT_EQ(ended, 1) << "it has ended already";
}

TEST_F(LinuxApplicationTest, SaysWhenTheLastTaskHasEnded) {
    int ended = 0;
    application_.setBackgroundTasksEndedHandler([&] { ++ended; });
    const auto first = application_.beginBackgroundTaskWithName("a", nullptr);
    const auto second = application_.beginBackgroundTaskWithName("b", nullptr);
    application_.endBackgroundTask(first);
    EXPECT_EQ(ended, 0);
    application_.endBackgroundTask(second);
    EXPECT_EQ(ended, 1);
}

TEST_F(LinuxApplicationTest, TakesTheShorterOfTwoBackgroundTimes) {
    application_.enterBackground(10s);
    EXPECT_DOUBLE_EQ(application_.backgroundTimeRemaining(), 10.0);
    application_.enterBackground();
    EXPECT_DOUBLE_EQ(application_.backgroundTimeRemaining(), 10.0);
    int expired = 0;
    application_.beginBackgroundTaskWithName("a", [&] { ++expired; });
    application_.enterBackground(3s);
    EXPECT_DOUBLE_EQ(application_.backgroundTimeRemaining(), 3.0);
    runLoop_->advanceBy(3s);
    EXPECT_EQ(expired, 1);
    EXPECT_EQ(posted_.size(), 2U) << "it was in the background already";
}

TEST_F(LinuxApplicationTest, StartsTheBackgroundTimeAnewAfterTheForeground) {
    int expired = 0;
    application_.beginBackgroundTaskWithName("a", [&] { ++expired; });
    application_.enterBackground();
    runLoop_->advanceBy(LinuxApplication::kBackgroundTime - 1s);
    application_.becomeActive();
    EXPECT_GT(application_.backgroundTimeRemaining(), 1e9);
    runLoop_->advanceBy(1h);
    EXPECT_EQ(expired, 0);
    application_.enterBackground();
    runLoop_->advanceBy(LinuxApplication::kBackgroundTime);
    EXPECT_EQ(expired, 1);
}

TEST_F(LinuxApplicationTest, GrantsWhatTheUserAllowsLater) {
    const auto delegate = std::make_shared<RecordingDelegate>();
    application_.registerUserNotificationSettings({15}, delegate);
    EXPECT_TRUE(delegate->grantedTypes.empty());
    runLoop_->runUntilIdle();
    EXPECT_EQ(delegate->grantedTypes, std::vector<std::uint32_t>{15});
    EXPECT_EQ(application_.currentUserNotificationSettings().types, 15U);

    application_.setAllowedNotificationTypes(0);
    application_.registerUserNotificationSettings({15}, delegate);
    runLoop_->runUntilIdle();
    EXPECT_EQ(lastOf(delegate->grantedTypes), 0U);
    EXPECT_EQ(application_.currentUserNotificationSettings().types, 0U);
}

TEST_F(LinuxApplicationTest, HasNoPushTokenToGive) {
    const auto delegate = std::make_shared<RecordingDelegate>();
    application_.registerForRemoteNotifications(delegate);
    application_.registerForRemoteNotificationTypes(15, delegate);
    EXPECT_TRUE(delegate->errors.empty());
    runLoop_->runUntilIdle();
    EXPECT_EQ(delegate->errors.size(), 2U);
    EXPECT_TRUE(delegate->tokens.empty());
}

TEST_F(LinuxApplicationTest, PassesTheSourcesAnswersOn) {
    const auto source = std::make_shared<HeldTokens>();
    application_.setPushTokenSource(source);
    const auto first = std::make_shared<RecordingDelegate>();
    const auto second = std::make_shared<RecordingDelegate>();
    auto gone = std::make_shared<RecordingDelegate>();
    application_.registerForRemoteNotifications(first);
    application_.registerForRemoteNotificationTypes(15, second);
    application_.registerForRemoteNotifications(gone);
    gone.reset();
    ASSERT_EQ(source->answers.size(), 3U);
    source->answers[0](Data{1, 2});
    source->answers[1](makeError("d", 5, "no"));
    source->answers[2](Data{3});
    EXPECT_EQ(first->tokens, std::vector<Data>({{1, 2}}));
    EXPECT_TRUE(first->errors.empty());
    EXPECT_TRUE(second->tokens.empty());
    ASSERT_EQ(second->errors.size(), 1U);
    EXPECT_EQ(second->errors[0].code, 5);
}

TEST_F(LinuxApplicationTest, TellsAllWhoHaveAskedOfAChangedToken) {
    application_.setPushTokenSource(std::make_shared<HeldTokens>());
    const auto first = std::make_shared<RecordingDelegate>();
    const auto second = std::make_shared<RecordingDelegate>();
    const auto other = std::make_shared<RecordingDelegate>();
    application_.registerForRemoteNotifications(first);
    application_.registerForRemoteNotifications(second);
    application_.registerForRemoteNotifications(first);
    application_.attachDelegate(other);
    application_.pushTokenHasChanged({7});
    EXPECT_TRUE(first->tokens.empty()) << "never from inside";
    runLoop_->runUntilIdle();
    EXPECT_EQ(first->tokens, std::vector<Data>({{7}})) << "once";
    EXPECT_EQ(second->tokens, std::vector<Data>({{7}}));
    EXPECT_TRUE(other->tokens.empty()) << "it has not asked";
}

TEST_F(LinuxApplicationTest, KeepsRemoteNotificationsUntilSomebodyTakesThem) {
    application_.receiveRemoteNotification({{"id", "m1"}});
    application_.receiveRemoteNotification({{"id", "m2"}});
    runLoop_->runUntilIdle();
    const auto delegate = std::make_shared<RecordingDelegate>();
    application_.attachDelegate(delegate);
    EXPECT_TRUE(delegate->notifications.empty()) << "it may not be whole yet";
    runLoop_->runUntilIdle();
    const std::vector<Dictionary> both{{{"id", "m1"}}, {{"id", "m2"}}};
    EXPECT_EQ(delegate->notifications, both);
    application_.attachDelegate(delegate);
    runLoop_->runUntilIdle();
    EXPECT_EQ(delegate->notifications, both) << "each once";
    application_.receiveRemoteNotification({{"id", "m3"}});
    runLoop_->runUntilIdle();
    EXPECT_EQ(delegate->notifications.size(), 3U);
}

TEST_F(LinuxApplicationTest, KeepsTheNewestRemoteNotifications) {
    for (std::size_t count = 0; count < LinuxApplication::kMostKeptNotifications; ++count) {
        application_.receiveRemoteNotification({{"id", "early"}});
    }
    application_.receiveRemoteNotification({{"id", "late"}});
    const auto delegate = std::make_shared<RecordingDelegate>();
    application_.attachDelegate(delegate);
    runLoop_->runUntilIdle();
    ASSERT_EQ(delegate->notifications.size(), LinuxApplication::kMostKeptNotifications);
    EXPECT_EQ(lastOf(delegate->notifications), (Dictionary{{"id", "late"}}));
}

TEST_F(LinuxApplicationTest, LosesNoRemoteNotificationToADelegateThatThrows) {
    const auto delegate = std::make_shared<RecordingDelegate>();
    application_.attachDelegate(delegate);
    delegate->isThrowing = true;
    application_.receiveRemoteNotification({{"id", "m1"}});
    application_.receiveRemoteNotification({{"id", "m2"}});
    EXPECT_THROW(runLoop_->runUntilIdle(), std::runtime_error);
    delegate->isThrowing = false;
    runLoop_->runUntilIdle();
    EXPECT_EQ(delegate->notifications, (std::vector<Dictionary>{{{"id", "m1"}}, {{"id", "m2"}}}));
}

TEST_F(LinuxApplicationTest, AnswersNobodyWhoIsGone) {
    auto delegate = std::make_shared<RecordingDelegate>();
    application_.registerForRemoteNotifications(delegate);
    delegate.reset();
    EXPECT_NO_THROW(runLoop_->runUntilIdle());

    const auto other = std::make_shared<RecordingDelegate>();
    {
        LinuxApplication shortLived({runLoop_, std::make_shared<FakeClock>(runLoop_), log_});
        shortLived.registerForRemoteNotifications(other);
        shortLived.enterBackground();
    }
    runLoop_->advanceBy(24h);
    EXPECT_TRUE(other->errors.empty());
}

TEST_F(LinuxApplicationTest, HandsLocalNotificationsToTheHost) {
    std::vector<std::string> shown;
    int cancelled = 0;
    application_.setLocalNotificationPresenter(
        [&](const UILocalNotification& notification) { shown.push_back(*notification.alertBody); },
        [&] { ++cancelled; });
    application_.presentLocalNotificationNow(notificationWith("hello"));
    application_.cancelAllLocalNotifications();
    EXPECT_EQ(shown, std::vector<std::string>{"hello"});
    EXPECT_EQ(cancelled, 1);
    EXPECT_TRUE(log_->lines().empty());
}

TEST_F(LinuxApplicationTest, LogsOnceThatNobodyShowsLocalNotifications) {
    application_.presentLocalNotificationNow(notificationWith("a private word"));
    application_.presentLocalNotificationNow(notificationWith("another"));
    application_.cancelAllLocalNotifications();
    ASSERT_EQ(log_->lines().size(), 1U);
    EXPECT_FALSE(log_->contains("private word"));
}

TEST_F(LinuxApplicationTest, KeepsTheBadge) {
    application_.setApplicationIconBadgeNumber(3);
    application_.presentLocalNotificationNow(notificationWith("no badge"));
    EXPECT_EQ(application_.applicationIconBadgeNumber(), 3);
    application_.presentLocalNotificationNow(notificationWith("badge", 5));
    EXPECT_EQ(application_.applicationIconBadgeNumber(), 5);
}

TEST_F(LinuxApplicationTest, ShowsTheBadgeWhereSomebodyTakesIt) {
    std::vector<std::int64_t> shown;
    application_.setBadgePresenter([&](std::int64_t number) { shown.push_back(number); });
    application_.setApplicationIconBadgeNumber(3);
    application_.presentLocalNotificationNow(notificationWith("badge", 5));
    application_.setAllowedNotificationTypes(4);
    application_.presentLocalNotificationNow(notificationWith("badge", 6));
    application_.setApplicationIconBadgeNumber(0);
    EXPECT_EQ(shown, (std::vector<std::int64_t>{3, 5, 0}));
}

TEST_F(LinuxApplicationTest, GrantsWhatBothHostAndUserAllow) {
    const auto delegate = std::make_shared<RecordingDelegate>();
    LinuxApplication application({runLoop_, std::make_shared<FakeClock>(runLoop_), log_, 5});
    application.registerUserNotificationSettings({15}, delegate);
    runLoop_->runUntilIdle();
    EXPECT_EQ(delegate->grantedTypes, std::vector<std::uint32_t>{5});
    application.setAllowedNotificationTypes(6);
    EXPECT_EQ(application.currentUserNotificationSettings().types, 4U);
    application.setAllowedNotificationTypes(2);
    EXPECT_EQ(application.currentUserNotificationSettings().types, 0U);
}

}  // namespace
}  // namespace xel
