#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/TopicsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What is asked of the broker, and when.
class SubscriptionsTest : public TopicsTest {
protected:
    std::size_t installationUpdates() { return machine_.http->requests().size(); }
};

TEST_F(SubscriptionsTest, SubscribeToTheDeviceAndTheUserOnConnect) {
    auto& session = connect();
    EXPECT_EQ(lastOf(session.calls),
              "subscribe app/a1b2c3/user/alice01/default@1 app/a1b2c3/user/alice01/D3V1CE@1");
}

TEST_F(SubscriptionsTest, SubscribeToDeliveriesOnConnectOnceEnabled) {
    rooms_->settings.setDeliveryChannelEnabeled(true);
    auto& session = connect();
    EXPECT_EQ(lastOf(session.calls),
              "subscribe app/a1b2c3/user/alice01/default@1 app/a1b2c3/user/alice01/D3V1CE@1 "
              "app/a1b2c3/delivery/alice01/#@1");
}

TEST_F(SubscriptionsTest, LeaveGrantedTopicsOutOnConnect) {
    identify();
    home_.defaults->setObject("subscribedTopics", Array{Value("app/a1b2c3/user/alice01/D3V1CE")});
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    EXPECT_EQ(lastOf(sessions_->latest().calls), "subscribe app/a1b2c3/user/alice01/default@1");
}

TEST_F(SubscriptionsTest, SendNothingOnConnectWhenAllIsGranted) {
    identify();
    home_.defaults->setObject("subscribedTopics", Array{Value("app/a1b2c3/user/alice01/D3V1CE"),
                                                        Value("app/a1b2c3/user/alice01/default")});
    rooms_->connection.connectToServer();
    sessions_->latest().calls.clear();
    sessions_->latest().connected();
    EXPECT_THAT(sessions_->latest().calls, IsEmpty());
}

TEST_F(SubscriptionsTest, SendOneSubscribeForAList) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    session.calls.clear();
    switchLogOn();
    room().subscribe({"news", "private/orders"}, {});
    EXPECT_THAT(session.calls,
                ElementsAre("subscribe app/a1b2c3/user/public/news@1 app/a1b2c3/user/alice01/orders@1"));
    EXPECT_THAT(takeLog(), ElementsAre("brokerSession subscribe!"));
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(),
                ElementsAre("private/default", "news", "private/orders"));
}

TEST_F(SubscriptionsTest, AskForQualityOfServiceZeroWhenLive) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    room().subscribe({"news"}, {.live = true});
    room().subscribeEvent("login", {.live = true});
    EXPECT_EQ(session.calls[session.calls.size() - 2], "subscribe app/a1b2c3/user/public/news@0");
    EXPECT_EQ(lastOf(session.calls), "subscribe app/a1b2c3/event/login/+@0");
    room().subscribe({"news"}, {});
    EXPECT_EQ(lastOf(session.calls), "subscribe app/a1b2c3/user/public/news@1");
}

TEST_F(SubscriptionsTest, StopAtTheFirstInvalidChannel) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    session.calls.clear();
    addDelegate();
    const auto stored = onDisk("userChannels");
    room().subscribe({"news", "bad#name", "sport"}, {});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailInSubscribe InvalidParameter -5002 Channel "
                                         "'bad#name' is not valid"));
    EXPECT_THAT(session.calls, IsEmpty());
    EXPECT_EQ(onDisk("userChannels"), stored);
    EXPECT_THAT(wantedTopics(),
                ElementsAre("app/a1b2c3/user/alice01/default@1", "app/a1b2c3/user/public/news@1"));
    room().subscribe({"late"}, {});
    EXPECT_THAT(session.calls,
                ElementsAre("subscribe app/a1b2c3/user/public/news@1 app/a1b2c3/user/public/late@1"));
}

TEST_F(SubscriptionsTest, MergeABatchIntoTheOneThatWaitsForItsAnswer) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    room().subscribe({"news"}, {});
    room().subscribe({"sport"}, {});
    EXPECT_EQ(lastOf(session.calls),
              "subscribe app/a1b2c3/user/public/news@1 app/a1b2c3/user/public/sport@1");
}

TEST_F(SubscriptionsTest, UpdateTheInstallationOnlyWithAPushToken) {
    connect();
    room().subscribe({"news"}, {});
    EXPECT_EQ(installationUpdates(), 0U);
    rooms_->token.deviceToken = Data{1};
    room().subscribe({"sport"}, {});
    EXPECT_EQ(installationUpdates(), 1U);
    room().unsubscribe("sport");
    EXPECT_EQ(installationUpdates(), 2U);
}

TEST_F(SubscriptionsTest, DeferASubscriptionUntilConnectedAndUpdateTwice) {
    identify();
    rooms_->token.deviceToken = Data{1};
    switchLogOn();
    room().subscribe({"news"}, {});
    EXPECT_THAT(takeLog(), ElementsAre("enqueue subscribe for later when session is ready"));
    EXPECT_EQ(installationUpdates(), 1U);
    rooms_->connection.connectToServer();
    auto& session = sessions_->latest();
    session.connected();
    EXPECT_EQ(installationUpdates(), 1U) << "the batch of the connect sends no update";
    session.calls.clear();
    machine_.runUntilIdle();
    EXPECT_EQ(installationUpdates(), 2U);
    EXPECT_THAT(session.calls, ElementsAre("subscribe app/a1b2c3/user/public/news@1"));
}

TEST_F(SubscriptionsTest, DeferAnEventSubscriptionUntilConnected) {
    identify();
    room().subscribeEvent("login", {.installationId = "X9", .live = false});
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    machine_.runUntilIdle();
    EXPECT_EQ(lastOf(sessions_->latest().calls), "subscribe app/a1b2c3/event/login/X9@1");
}

TEST_F(SubscriptionsTest, KeepEventsOutOfTheWantedTopics) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    const auto wanted = wantedTopics();
    room().subscribeEvent("login", {});
    EXPECT_EQ(wantedTopics(), wanted);
    EXPECT_TRUE(rooms_->subscriptionRequests.goingToTopics()->empty());
    EXPECT_THAT(rooms_->subscriptionRequests.subscribeMsgIds(),
                ElementsAre(testing::Pair(session.lastPacketId, "app/a1b2c3/event/login/+")));
}

TEST_F(SubscriptionsTest, RefuseBadEventRequestsWithoutAskingTheBroker) {
    auto& session = connect();
    session.calls.clear();
    addDelegate();
    room().subscribeEvent("log in", {});
    room().unsubscribeEvent("log in", std::nullopt);
    room().subscribeEvent("login", {.installationId = " ", .live = false});
    room().unsubscribe("a/b/c");
    EXPECT_THAT(
        takeHeard(),
        ElementsAre("delegate: FailInSubscribe InvalidParameter -5002 Eventname 'log in' is not valid.",
                    "delegate: FailInUnsubscribe InvalidParameter -5002 Eventname 'log in' is not valid",
                    "delegate: FailInSubscribe InvalidParameter -5002 registerationId should have value",
                    "delegate: FailInUnsubscribe InvalidParameter -5002 Channel 'a/b/c' is not valid"));
    EXPECT_THAT(session.calls, IsEmpty());
}

TEST_F(SubscriptionsTest, RemoveAnUnsubscribedTopicEverywhere) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    room().subscribe({"news"}, {});
    home_.defaults->setObject("subscribedTopics", Array{Value("app/a1b2c3/user/public/news"), Value("other"),
                                                        Value("app/a1b2c3/user/public/news")});
    room().unsubscribe("news");
    EXPECT_EQ(lastOf(session.calls), "unsubscribe app/a1b2c3/user/public/news");
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre("other"));
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(), ElementsAre("private/default"));
    EXPECT_THAT(rooms_->subscriptionRequests.unSubscribeMsgIds(),
                ElementsAre(testing::Pair(session.lastPacketId, "app/a1b2c3/user/public/news")));
}

TEST_F(SubscriptionsTest, WriteTheGrantedTopicsAlsoWhenNothingChanged) {
    rooms_->subscribedTopics.removeTopicFromUserDefault("unknown");
    EXPECT_EQ(onDisk("subscribedTopics"), Value(Array()));
}

TEST_F(SubscriptionsTest, KeepOtherStoredChannelsWhenOneChangesBeforeTheyAreLoaded) {
    identify();
    home_.defaults->setObject("userChannels", Dictionary{{"app/a1b2c3/user/public/old", 1}});
    room().subscribe({"news"}, {});
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(), ElementsAre("old", "news"));
    rooms_->channels.topics.reset();
    room().unsubscribe("news");
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(), ElementsAre("old"));
}

TEST_F(SubscriptionsTest, RepeatADeferredUnsubscriptionWhole) {
    identify();
    room().unsubscribe("news");
    rooms_->channels.setTopic("app/a1b2c3/user/public/news", 1);
    rooms_->channels.storeUserChannels();
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    machine_.runUntilIdle();
    EXPECT_EQ(lastOf(sessions_->latest().calls), "unsubscribe app/a1b2c3/user/public/news");
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(), ElementsAre("private/default"));
}

TEST_F(SubscriptionsTest, UnsubscribeEventsOfAllAndOfOneInstallation) {
    auto& session = connect();
    room().unsubscribeEvent("login", std::nullopt);
    EXPECT_EQ(lastOf(session.calls), "unsubscribe app/a1b2c3/event/login/+");
    room().unsubscribeEvent("login", "X9");
    EXPECT_EQ(lastOf(session.calls), "unsubscribe app/a1b2c3/event/login/X9");
}

}  // namespace
}  // namespace xel
