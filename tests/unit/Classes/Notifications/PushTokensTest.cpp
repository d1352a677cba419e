#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PushTokensTest : public RoomsTest {
protected:
    PushTokens& room() { return rooms_->tokens; }
    /// Installation saves that were sent, once the queue has run.
    std::size_t saves() {
        machine_.runUntilIdle();
        return machine_.http->requests().size();
    }
    std::vector<std::string> tokenRequests() {
        std::vector<std::string> requests;
        for (const auto& request : machine_.application->tokenRequests()) {
            requests.push_back(formatted("%@ %d", request.operation, request.types));
        }
        return requests;
    }
};

TEST_F(PushTokensTest, AskForPermissionOnSystemsThatHaveIt) {
    const std::vector<std::pair<std::string, bool>> table = {
        {"9.3", false}, {"10.0", true}, {"11.2", true}, {"8", false}};
    for (const auto& [version, isAsked] : table) {
        machine_.device->setSystemVersion(version);
        const auto before = machine_.notificationCenter->authorizationRequests().size();
        room().registerForAPNsToken();
        const auto& requests = machine_.notificationCenter->authorizationRequests();
        EXPECT_EQ(requests.size(), before + (isAsked ? 1U : 0U)) << version;
        EXPECT_EQ(lastOf(tokenRequests()), "registerUserNotificationSettings 15") << version;
        if (isAsked) {
            EXPECT_EQ(lastOf(requests), 7U);
        }
    }
    EXPECT_TRUE(machine_.notificationCenter->hasDelegate());
}

TEST_F(PushTokensTest, AskAnOlderSystemByTypes) {
    machine_.application->setRespondsToRegisterUserNotificationSettings(false);
    room().registerForAPNsToken();
    EXPECT_THAT(tokenRequests(), ElementsAre("registerForRemoteNotificationTypes 15"));
}

TEST_F(PushTokensTest, GoOnFromTheSettingsToTheToken) {
    machine_.application->answerWithToken({1, 2, 3});
    room().registerForAPNsToken();
    machine_.runUntilIdle();
    EXPECT_THAT(tokenRequests(),
                ElementsAre("registerUserNotificationSettings 15", "registerForRemoteNotifications 0"));
    EXPECT_EQ(rooms_->token.deviceToken, (Data{1, 2, 3}));
    EXPECT_EQ(rooms_->token.tokenStatus, "ALLOWED");
}

TEST_F(PushTokensTest, RegisterTheDeviceForEachTokenOfAKnownUser) {
    identify();
    machine_.application->registerUserNotificationSettings({15}, {});
    switchLogOn();
    room().applicationDidRegisterForRemoteNotificationsWithDeviceToken({1, 2, 3});
    EXPECT_THAT(takeLog(),
                ElementsAre("didRegisterForRemoteNotificationsWithDeviceToken <3 bytes>",
                            "[-[PushClientManager application:"
                            "didRegisterForRemoteNotificationsWithDeviceToken:]]: registerDeviceToServer "));
    EXPECT_EQ(saves(), 1U);
    room().applicationDidRegisterForRemoteNotificationsWithDeviceToken({1, 2, 3});
    EXPECT_EQ(saves(), 2U);
}

TEST_F(PushTokensTest, OnlyStoreATokenWithoutAUser) {
    for (const std::optional<std::string>& userId :
         {std::optional<std::string>(), std::optional(std::string(" "))}) {
        rooms_->settings.setUserId(userId);
        room().applicationDidRegisterForRemoteNotificationsWithDeviceToken({1});
        room().applicationDidFailToRegisterForRemoteNotificationsWithError(makeError("d", 1, "no"));
        EXPECT_EQ(saves(), 0U);
    }
    EXPECT_TRUE(rooms_->token.hasUsableToken());
}

TEST_F(PushTokensTest, SayWhenTheUserAllowsNothing) {
    identify();
    machine_.application->setAllowedTypes(0);
    machine_.application->answerWithToken({1});
    room().registerForAPNsToken();
    EXPECT_EQ(saves(), 1U);
    EXPECT_TRUE(room().isNotificationDenied());
    EXPECT_EQ(rooms_->token.tokenStatus, "DENIED");
    EXPECT_EQ(rooms_->token.deviceToken, Data{1});
}

TEST_F(PushTokensTest, GoOnWithAPlaceholderWhenThereIsNoToken) {
    identify();
    switchLogOn();
    room().applicationDidFailToRegisterForRemoteNotificationsWithError(makeError("d", 3000, "no token"));
    EXPECT_THAT(takeLog(),
                ElementsAre("didFailToRegisterForRemoteNotificationsWithError Error Domain=d Code=3000 "
                            "\"no token\"",
                            "[-[PushClientManager application:"
                            "didFailToRegisterForRemoteNotificationsWithError:]]: Simulator registered "));
    const std::string placeholder = "Simulator";
    EXPECT_EQ(rooms_->token.deviceToken, Data(placeholder.begin(), placeholder.end()));
    EXPECT_FALSE(rooms_->token.tokenStatus) << "left unchanged";
    EXPECT_EQ(saves(), 1U);
    room().applicationDidRegisterForRemoteNotificationsWithDeviceToken({9});
    EXPECT_EQ(rooms_->token.deviceToken, Data{9});
}

TEST_F(PushTokensTest, LogRemoteNotificationsAndAlwaysCompleteWithNewData) {
    switchLogOn();
    addDelegate();
    std::vector<int> results;
    const auto complete = [&](int result) { results.push_back(result); };
    room().applicationDidReceiveRemoteNotification(*machine_.application, Dictionary{{"id", "m1"}}, complete);
    room().applicationDidReceiveRemoteNotification(*machine_.application, Dictionary(), complete);
    EXPECT_THAT(takeLog(), ElementsAre(R"(Received Remote Notification: {"id":"m1"})"));
    EXPECT_THAT(results, ElementsAre(0, 0));
    EXPECT_THAT(takeHeard(), IsEmpty()) << "it is not fed into the message pipeline";
}

TEST_F(PushTokensTest, HearOfRemoteNotificationsFromTheSystem) {
    switchLogOn();
    machine_.application->receiveRemoteNotification(Dictionary{{"id", "m1"}});
    machine_.runUntilIdle();
    EXPECT_THAT(takeLog(), ElementsAre(R"(Received Remote Notification: {"id":"m1"})"));
}

TEST_F(PushTokensTest, LogLocalNotificationsByTheApplicationsState) {
    switchLogOn();
    UILocalNotification notification;
    notification.userInfo = Dictionary{{"id", "m1"}};
    for (const auto state :
         {UIApplicationState::Active, UIApplicationState::Inactive, UIApplicationState::Background}) {
        machine_.application->setApplicationState(state);
        room().applicationDidReceiveLocalNotification(*machine_.application, notification);
    }
    const std::string inFront = R"(Local noticiation - App was in foreground: {"id":"m1"})";
    EXPECT_THAT(takeLog(), ElementsAre(inFront,
                                       "Local noticiation - App was in background and user pressed action "
                                       R"(button: {"id":"m1"})",
                                       inFront));
}

TEST_F(PushTokensTest, ShowNotificationsThatArriveInFront) {
    switchLogOn();
    room().registerForAPNsToken();
    (void)takeLog();
    EXPECT_EQ(machine_.notificationCenter->present({"r1", Dictionary{{"id", "m1"}}}), 7U);
    EXPECT_THAT(takeLog(), ElementsAre(R"(@@@@@@@@@@@@@@@@@ willPresentNotification: {"id":"m1"})"));
}

TEST_F(PushTokensTest, LeaveTheCompletionOfAnActionToTheDelegates) {
    switchLogOn();
    room().registerForAPNsToken();
    (void)takeLog();
    const UNNotificationResponse response{"open", {"r1", {}}};
    EXPECT_FALSE(machine_.notificationCenter->respond(response)) << "nobody completes without a delegate";
    EXPECT_THAT(takeLog(), ElementsAre("User was clicked on an action : open"));
    addDelegate();
    EXPECT_TRUE(machine_.notificationCenter->respond(response));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: NotificationResponse open"));
}

TEST_F(PushTokensTest, ClearBadgeAndLocalNotificationsTogether) {
    machine_.application->setApplicationIconBadgeNumber(5);
    resetBadge(*machine_.application);
    EXPECT_EQ(machine_.application->applicationIconBadgeNumber(), 0);
    EXPECT_EQ(machine_.application->cancelAllCount(), 1U);
}

}  // namespace
}  // namespace xel
