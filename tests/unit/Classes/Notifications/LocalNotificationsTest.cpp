#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

class RecordingPresenter final : public RichNotificationPresenter {
public:
    void showLocalRichNotificationWithPayload(const Dictionary& payload) override {
        payloads.push_back(payload);
    }
    std::vector<Dictionary> payloads;
};

class LocalNotificationsTest : public RoomsTest {
protected:
    LocalNotificationsTest() {
        message_.messageBody = "text";
        message_.channel = "news";
    }

    const std::vector<UILocalNotification>& presented() {
        return machine_.application->presentedNotifications();
    }
    /// Shows the message and gives the notification that came of it.
    UILocalNotification show() {
        const auto before = presented().size();
        rooms_->localNotifications.showNotificationFor(message_);
        EXPECT_EQ(presented().size(), before + 1);
        return presented().size() > before ? presented().back() : UILocalNotification();
    }
    bool isShown() {
        const auto before = presented().size();
        rooms_->localNotifications.showNotificationFor(message_);
        return presented().size() > before;
    }

    PushClientMessage message_;
};

TEST_F(LocalNotificationsTest, ShowThePlainText) {
    machine_.application->setApplicationIconBadgeNumber(4);
    const auto notification = show();
    EXPECT_FALSE(notification.alertTitle);
    EXPECT_EQ(notification.alertBody, "text");
    EXPECT_EQ(notification.soundName, UILocalNotificationDefaultSoundName);
    EXPECT_EQ(notification.applicationIconBadgeNumber, 0);
    EXPECT_EQ(notification.userInfo, (Dictionary{{"message", message_.toDict()}}));
}

TEST_F(LocalNotificationsTest, ShowWhatTheMessagesBlockSays) {
    message_.notification = Dictionary{{"title", "Hello"}, {"body", "World"}, {"badge", 7}};
    const auto notification = show();
    EXPECT_EQ(notification.alertTitle, "Hello");
    EXPECT_EQ(notification.alertBody, "World");
    EXPECT_EQ(notification.applicationIconBadgeNumber, 7);
}

TEST_F(LocalNotificationsTest, FallBackForWhatTheBlockLacks) {
    machine_.application->setApplicationIconBadgeNumber(4);
    for (const auto& block : {Dictionary(), Dictionary{{"body", 5}, {"badge", "many"}, {"title", nullptr}}}) {
        message_.notification = block;
        const auto notification = show();
        EXPECT_FALSE(notification.alertTitle);
        EXPECT_EQ(notification.alertBody, "text");
        EXPECT_EQ(notification.applicationIconBadgeNumber, 4);
    }
}

TEST_F(LocalNotificationsTest, CutTheBadgeToAnInteger) {
    message_.notification = Dictionary{{"badge", 2.9}};
    EXPECT_EQ(show().applicationIconBadgeNumber, 2);
}

TEST_F(LocalNotificationsTest, ShowNothingForASilentMessage) {
    message_.silent = true;
    message_.notification = Dictionary{{"mutableContent", true}};
    EXPECT_FALSE(isShown());
}

TEST_F(LocalNotificationsTest, ShowNothingForAChannelWithoutAlerts) {
    struct Row {
        Value preference;
        bool isShown;
    };
    const std::vector<Row> table = {
        {Dictionary{{"alert", true}, {"sound", "chime"}}, true},
        {Dictionary{{"alert", 1}}, true},
        {Dictionary{{"alert", false}, {"sound", "chime"}}, false},
        {Dictionary{{"alert", 0}}, false},
        {Dictionary{{"sound", "chime"}}, false},
        {Dictionary(), false},
    };
    for (const auto& row : table) {
        rooms_->channels.notificationSettings = Dictionary{{"news", row.preference}};
        EXPECT_EQ(isShown(), row.isShown) << describeValue(row.preference);
    }
}

TEST_F(LocalNotificationsTest, LookThePreferenceUpUnderTheMessagesChannel) {
    rooms_->channels.notificationSettings = Dictionary{{"private/news", Dictionary{{"alert", false}}}};
    EXPECT_TRUE(isShown());
    message_.channel = "private/news";
    EXPECT_FALSE(isShown());
    message_.channel.reset();
    EXPECT_TRUE(isShown());
}

TEST_F(LocalNotificationsTest, NeverCarryTheChannelsOwnSound) {
    rooms_->channels.notificationSettings =
        Dictionary{{"news", Dictionary{{"alert", true}, {"sound", "chime"}}}};
    EXPECT_EQ(show().soundName, UILocalNotificationDefaultSoundName);
}

TEST_F(LocalNotificationsTest, IgnoreTheApplicationsStateAndOtherFlags) {
    message_.inApp = true;
    message_.useAsAlert = true;
    for (const auto state : {UIApplicationState::Active, UIApplicationState::Background}) {
        machine_.application->setApplicationState(state);
        EXPECT_TRUE(isShown());
    }
}

TEST_F(LocalNotificationsTest, HandARichMessageOverWhole) {
    RecordingPresenter presenter;
    LocalNotifications room(*machine_.application, rooms_->channels, presenter);
    rooms_->channels.notificationSettings = Dictionary{{"news", Dictionary{{"alert", false}}}};
    for (const Value& content : {Value(true), Value(false), Value(nullptr), Value("x")}) {
        message_.notification = Dictionary{{"mutableContent", content}};
        room.showNotificationFor(message_);
        ASSERT_FALSE(presenter.payloads.empty());
        EXPECT_EQ(presenter.payloads.back(), message_.toDict());
    }
    EXPECT_EQ(presenter.payloads.size(), 4U);
    EXPECT_TRUE(presented().empty());
    message_.notification = Dictionary{{"title", "plain"}};
    message_.channel.reset();
    room.showNotificationFor(message_);
    EXPECT_EQ(presenter.payloads.size(), 4U);
    EXPECT_EQ(presented().size(), 1U);
}

}  // namespace
}  // namespace xel
