#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/TopicsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What the broker's answers change and whom they are reported to.
class SubscriptionAnswersTest : public TopicsTest {};

TEST_F(SubscriptionAnswersTest, PersistWhatWasGrantedAtQualityOfServiceOne) {
    auto& session = connectAndListen();
    room().subscribe({"news", "sport", "private/orders"}, {});
    session.subAck(session.lastPacketId, {1, 0, 128});
    EXPECT_EQ(onDisk("subscribedTopics"), Value(Array{Value("app/a1b2c3/user/public/news")}));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news", "delegate: Subscribed sport",
                                         "delegate: Subscribed private/orders"));
    EXPECT_TRUE(rooms_->subscriptionRequests.goingToTopics()->empty());
}

TEST_F(SubscriptionAnswersTest, NeverReportTheClientsOwnTopics) {
    rooms_->settings.setDeliveryChannelEnabeled(true);
    auto& session = connect();
    addDelegate();
    session.subAck(1, {1, 1, 1});
    EXPECT_THAT(takeHeard(), IsEmpty());
    EXPECT_THAT(storedTexts("subscribedTopics"),
                ElementsAre("app/a1b2c3/user/alice01/default", "app/a1b2c3/user/alice01/D3V1CE",
                            "app/a1b2c3/delivery/alice01/#"));
}

TEST_F(SubscriptionAnswersTest, IgnoreValuesBeyondTheBatch) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {});
    session.subAck(session.lastPacketId, {1, 1, 1, 1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news"));
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre("app/a1b2c3/user/public/news"));
    session.subAck(session.lastPacketId, {1});
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(SubscriptionAnswersTest, AppendATopicThatIsThereAlready) {
    auto& session = connectAndListen();
    for (int i = 0; i < 2; ++i) {
        room().subscribe({"news"}, {});
        session.subAck(session.lastPacketId, {1});
    }
    EXPECT_THAT(storedTexts("subscribedTopics"),
                ElementsAre("app/a1b2c3/user/public/news", "app/a1b2c3/user/public/news"));
}

TEST_F(SubscriptionAnswersTest, MatchAnEventByItsPacketIdentifier) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {});
    room().subscribeEvent("login", {});
    const auto eventsId = session.lastPacketId;
    session.subAck(eventsId, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed login"));
    EXPECT_THAT(rooms_->subscriptionRequests.subscribeMsgIds(), IsEmpty());
    EXPECT_THAT(storedTexts("subscribedTopics"), IsEmpty());
    EXPECT_EQ(rooms_->subscriptionRequests.goingToTopics()->size(), 1U)
        << "the batch still waits for its own answer";
}

TEST_F(SubscriptionAnswersTest, LetAHostSubscribeInsideTheReport) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    bool isFirst = true;
    addDelegate([&] {
        if (std::exchange(isFirst, false)) {
            room().subscribe({"late"}, {});
        }
    });
    room().subscribe({"news", "sport"}, {});
    const auto batch = session.lastPacketId;
    session.subAck(batch, {1, 1});
    EXPECT_EQ(lastOf(session.calls), "subscribe app/a1b2c3/user/public/late@1");
    session.subAck(session.lastPacketId, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news", "delegate: Subscribed sport",
                                         "delegate: Subscribed late"));
    EXPECT_THAT(storedTexts("subscribedTopics"), testing::Contains("app/a1b2c3/user/public/late"));
}

TEST_F(SubscriptionAnswersTest, StopReportingWhenTheHostEndsTheSession) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    const auto kept = lastOf(sessions_->made);
    bool isFirst = true;
    addDelegate([&] {
        if (std::exchange(isFirst, false)) {
            rooms_->coordinator.reset();
        }
    });
    room().subscribe({"news", "sport"}, {});
    session.subAck(session.lastPacketId, {1, 1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news", "delegate: ConnectionState"));
    EXPECT_FALSE(home_.defaults->objectForKey("subscribedTopics"));
}

TEST_F(SubscriptionAnswersTest, ReportAnUnsubscribedChannelToEachDelegate) {
    auto& session = connectAndListen();
    addDelegate();
    room().unsubscribe("private/orders");
    session.unsubAck(session.lastPacketId);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Unsubscribed private/orders",
                                         "delegate: Unsubscribed private/orders"));
}

TEST_F(SubscriptionAnswersTest, RemoveTheSubscriptionsEntryAndKeepTheOther) {
    auto& session = connectAndListen();
    room().subscribeEvent("login", {});
    const auto id = session.lastPacketId;
    session.lastPacketId = static_cast<std::uint16_t>(id - 1);
    room().unsubscribe("news");
    ASSERT_EQ(session.lastPacketId, id);
    session.unsubAck(id);
    EXPECT_THAT(rooms_->subscriptionRequests.subscribeMsgIds(), IsEmpty());
    EXPECT_TRUE(rooms_->subscriptionRequests.unSubscribeMsgIds().contains(id));
}

TEST_F(SubscriptionAnswersTest, ChangeNothingWhenNoDelegateHearsOfAnUnsubscription) {
    auto& session = connect();
    room().subscribeEvent("login", {});
    const auto id = session.lastPacketId;
    session.lastPacketId = static_cast<std::uint16_t>(id - 1);
    room().unsubscribe("news");
    session.unsubAck(id);
    EXPECT_TRUE(rooms_->subscriptionRequests.subscribeMsgIds().contains(id));
    EXPECT_TRUE(rooms_->subscriptionRequests.unSubscribeMsgIds().contains(id));
}

TEST_F(SubscriptionAnswersTest, IgnoreAnUnknownPacketIdentifier) {
    auto& session = connectAndListen();
    session.unsubAck(999);
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(SubscriptionAnswersTest, KeepRequestsApartFromThoseOfTheSessionBefore) {
    auto& session = connectAndListen();
    room().subscribeEvent("login", {});
    const auto id = session.lastPacketId;
    rooms_->session.drop();
    rooms_->connection.connectToServer();
    auto& next = sessions_->latest();
    next.connected();
    next.lastPacketId = static_cast<std::uint16_t>(id - 1);
    room().subscribe({"news"}, {});
    ASSERT_EQ(next.lastPacketId, id);
    (void)takeHeard();
    next.subAck(id, {1, 1, 1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news"));
}

TEST_F(SubscriptionAnswersTest, ForgetATopicThatWasRefusedWhenRestored) {
    auto& session = connect();
    session.subAck(1, {1, 1});
    session.delegate->topicWasRefused(session, "app/a1b2c3/user/alice01/default");
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre("app/a1b2c3/user/alice01/D3V1CE"));
}

}  // namespace
}  // namespace xel
