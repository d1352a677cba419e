#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ChannelStoreTest : public RoomsTest {
protected:
    ChannelStore& store() { return rooms_->channels; }
    void haveToken() { rooms_->token.deviceToken = Data{1, 2, 3}; }
    std::size_t requestCount() { return machine_.http->requests().size(); }
};

TEST_F(ChannelStoreTest, StartsAUserWithTheDefaultPrivateTopic) {
    identify();
    EXPECT_THAT(store().deviceSubscriptions(), ElementsAre("private/default"));
    EXPECT_EQ(onDisk("userChannels"), Value(Dictionary{{"app/a1b2c3/user/alice01/default", 1}}));
}

TEST_F(ChannelStoreTest, HasNoTableWithoutAUser) {
    store().topics = TopicTable{{"t", 1}};
    EXPECT_THAT(store().deviceSubscriptions(), IsEmpty());
    EXPECT_FALSE(store().topics);
    EXPECT_FALSE(onDisk("userChannels"));
}

TEST_F(ChannelStoreTest, ListsItsTopicsInBothForms) {
    identify();
    store().topics = TopicTable{{"app/a1b2c3/user/alice01/default", 1},
                                {"app/a1b2c3/user/public/news", 1},
                                {"too/short", 1},
                                {"app/a1b2c3/user/alice01/orders", 0},
                                {"app/a1b2c3/user/alice01/D3V1CE", 1}};
    store().storeUserChannels();
    EXPECT_THAT(store().deviceSubscriptions(),
                ElementsAre("private/default", "news", "private/orders", "private/D3V1CE"));
    EXPECT_THAT(store().deviceSubscriptionsForInstallation(),
                ElementsAre("default", "public/news", "orders", "D3V1CE"));
}

TEST_F(ChannelStoreTest, DiscardsUnsavedTopicsWhenItLists) {
    identify();
    store().loadUserChannels();
    store().setTopic("app/a1b2c3/user/public/news", 1);
    EXPECT_THAT(store().deviceSubscriptions(), ElementsAre("private/default"));
    EXPECT_THAT(wantedTopics(), ElementsAre("app/a1b2c3/user/alice01/default@1"));
}

TEST_F(ChannelStoreTest, KeepsTheQualityOfServiceOfEachTopic) {
    store().topics = TopicTable{{"a", 0}, {"b", 1}};
    store().storeUserChannels();
    EXPECT_EQ(onDisk("userChannels"), Value(Dictionary{{"a", 0}, {"b", 1}}));
    store().topics.reset();
    store().loadUserChannels();
    EXPECT_THAT(wantedTopics(), ElementsAre("a@0", "b@1"));
}

TEST_F(ChannelStoreTest, RemovesTheStoredTableWhenThereIsNone) {
    store().topics = TopicTable{{"a", 0}};
    store().storeUserChannels();
    store().topics.reset();
    store().storeUserChannels();
    EXPECT_FALSE(onDisk("userChannels"));
}

TEST_F(ChannelStoreTest, ForgetsTheStoredTableOnlyWhenReset) {
    identify();
    store().topics = TopicTable{{"app/a1b2c3/user/public/news", 1}};
    store().storeUserChannels();
    store().resetUserChannels();
    EXPECT_FALSE(onDisk("userChannels"));
    EXPECT_THAT(wantedTopics(), ElementsAre("app/a1b2c3/user/public/news@1"));
    store().loadUserChannels();
    EXPECT_THAT(wantedTopics(), ElementsAre("app/a1b2c3/user/alice01/default@1"));
}

TEST_F(ChannelStoreTest, LoadsTheStoredTableBeforeAChangeOfOneTopic) {
    home_.defaults->setObject("userChannels", Dictionary{{"a", 1}, {"b", 1}});
    store().setTopic("c", 0);
    EXPECT_THAT(wantedTopics(), ElementsAre("a@1", "b@1", "c@0"));
    store().topics.reset();
    store().removeTopic("a");
    EXPECT_THAT(wantedTopics(), ElementsAre("b@1"));
}

TEST_F(ChannelStoreTest, MakesATableForATopicWhenNoneIsStored) {
    store().removeTopic("a");
    EXPECT_FALSE(store().topics);
    store().setTopic("a", 1);
    EXPECT_THAT(wantedTopics(), ElementsAre("a@1"));
}

TEST_F(ChannelStoreTest, RefusesPreferencesBeforeAPushTokenArrived) {
    switchLogOn();
    try {
        store().updateNotificationSettings("news", "chime", true);
        FAIL() << "nothing was thrown";
    } catch (const NullException& refusal) {
        EXPECT_EQ(refusal.name(), "NullException");
        EXPECT_EQ(refusal.reason(), "Device token is nil");
    }
    EXPECT_FALSE(store().notificationSettings || onDisk("notificationSettings"));
    EXPECT_EQ(requestCount(), 0U);
    EXPECT_THAT(takeLog(),
                ElementsAre("Device token is nil. please call -[PushClientManager "
                            "updateNotificationSettings:sound:alert:] method when tavrin was registered"));
}

TEST_F(ChannelStoreTest, StoresPreferencesByChannelAndReplacesThem) {
    identify();
    haveToken();
    store().updateNotificationSettings("news", "old", false);
    store().updateNotificationSettings("news", "chime", true);
    store().updateNotificationSettings("not a channel#", "bell", false);
    const Dictionary wanted{{"news", Dictionary{{"sound", "chime"}, {"alert", true}}},
                            {"not a channel#", Dictionary{{"sound", "bell"}, {"alert", false}}}};
    EXPECT_EQ(onDisk("notificationSettings"), Value(wanted));
    EXPECT_EQ(store().notificationSettings, wanted);
}

TEST_F(ChannelStoreTest, SendsTheInstallationWithEachPreference) {
    identify();
    haveToken();
    store().updateNotificationSettings("news", "chime", true);
    const auto requests = machine_.http->requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, "PUT");
    const auto body = machine_.json->JSONObjectWithData(requests[0].body).value();
    EXPECT_EQ(*body.asDictionary()->find("notificationSettings"),
              Value(Dictionary{{"news", Dictionary{{"sound", "chime"}, {"alert", true}}}}));
    EXPECT_EQ(*body.asDictionary()->find("badge"), Value(0));
}

TEST_F(ChannelStoreTest, KeepsStoredPreferencesThatWereNotLoadedYet) {
    identify();
    haveToken();
    const Dictionary old{{"sound", "bell"}, {"alert", false}};
    home_.defaults->setObject("notificationSettings", Dictionary{{"old", old}});
    store().updateNotificationSettings("news", "chime", true);
    EXPECT_EQ(store().notificationSettingsFor("old"), old);
    EXPECT_TRUE(store().notificationSettingsFor("news"));
}

TEST_F(ChannelStoreTest, FindsStoredPreferencesBeforeAnythingHasLoadedThem) {
    const Dictionary stored{{"sound", "bell"}, {"alert", false}};
    home_.defaults->setObject("notificationSettings", Dictionary{{"news", stored}});
    EXPECT_EQ(store().notificationSettingsFor("news"), stored);
    EXPECT_FALSE(store().notificationSettingsFor("sport"));
    EXPECT_FALSE(store().notificationSettings) << "asking loads nothing";
    store().notificationSettings = Dictionary();
    EXPECT_FALSE(store().notificationSettingsFor("news")) << "what is held counts";
}

TEST_F(ChannelStoreTest, FindsPreferencesUnderTheChannelAsGiven) {
    EXPECT_FALSE(store().notificationSettingsFor("news"));
    store().notificationSettings = Dictionary{{"news", Dictionary{{"alert", true}}}, {"odd", 3}};
    EXPECT_EQ(store().notificationSettingsFor("news"), (Dictionary{{"alert", true}}));
    EXPECT_FALSE(store().notificationSettingsFor("public/news"));
    EXPECT_FALSE(store().notificationSettingsFor("odd"));
}

TEST_F(ChannelStoreTest, LeavesPreferencesAloneWhenNoneAreStored) {
    store().notificationSettings = Dictionary{{"news", Dictionary{{"alert", true}}}};
    store().loadUserChannels();
    EXPECT_TRUE(store().notificationSettingsFor("news"));
    home_.defaults->setObject("notificationSettings", Dictionary{{"sport", Dictionary()}});
    store().loadUserChannels();
    EXPECT_FALSE(store().notificationSettingsFor("news"));
    EXPECT_TRUE(store().notificationSettingsFor("sport"));
}

}  // namespace
}  // namespace xel
