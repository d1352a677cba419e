#include "tests/unit/Classes/Support/TopicsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Batches that were asked for before others were answered: each channel is reported and stored once.
class OverlappingBatchesTest : public TopicsTest {};

TEST_F(OverlappingBatchesTest, AreMatchedToTheirOwnTopics) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {});
    const auto first = session.lastPacketId;
    room().subscribe({"sport"}, {});
    const auto second = session.lastPacketId;
    session.subAck(first, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news"));
    EXPECT_TRUE(rooms_->subscriptionRequests.goingToTopics()->empty()) << "the first answer empties it";
    room().subscribe({"late"}, {});
    const auto third = session.lastPacketId;
    session.subAck(second, {1, 1});
    session.subAck(third, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed sport", "delegate: Subscribed late"));
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre(kNews, kSport, "app/a1b2c3/user/public/late"));
}

TEST_F(OverlappingBatchesTest, AreMatchedInWhateverOrderTheyAreAnswered) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {});
    const auto first = session.lastPacketId;
    room().subscribe({"sport"}, {});
    session.subAck(session.lastPacketId, {1, 1});
    session.subAck(first, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news", "delegate: Subscribed sport"));
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre(kNews, kSport));
}

TEST_F(OverlappingBatchesTest, StoreWhatOnlyTheSecondWasGranted) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {.live = true});
    const auto first = session.lastPacketId;
    room().subscribe({"news"}, {});
    session.subAck(first, {0});
    EXPECT_THAT(storedTexts("subscribedTopics"), IsEmpty());
    session.subAck(session.lastPacketId, {1});
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre(kNews));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news"));
}

TEST_F(OverlappingBatchesTest, AreNotThoseAskedForAfterTheAnswer) {
    auto& session = connectAndListen();
    for (int i = 0; i < 2; ++i) {
        room().subscribe({"news"}, {});
        session.subAck(session.lastPacketId, {1});
    }
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news", "delegate: Subscribed news"));
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre(kNews, kNews));
}

TEST_F(OverlappingBatchesTest, MayBeAnsweredBeforeQueuedWorkSendsItsOwn) {
    identify();
    addDelegate();
    room().subscribe({"news"}, {});
    room().subscribe({"private/orders"}, {});
    rooms_->connection.connectToServer();
    auto& session = sessions_->latest();
    session.connected();
    const auto ofTheConnect = session.lastPacketId;
    session.subAck(ofTheConnect, {1, 1, 1, 1});
    machine_.runUntilIdle();
    ASSERT_EQ(session.lastPacketId, ofTheConnect + 2) << "both pieces have sent theirs";
    session.subAck(static_cast<std::uint16_t>(ofTheConnect + 1), {1, 1});
    session.subAck(static_cast<std::uint16_t>(ofTheConnect + 2), {1, 1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: ConnectionState", "delegate: ConnectionState",
                                         "delegate: Subscribed news", "delegate: Subscribed private/orders"));
    EXPECT_EQ(storedTexts("subscribedTopics").size(), 4U);
}

TEST_F(OverlappingBatchesTest, WaitForNoAnswerOnceSuperseded) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {});
    const auto first = session.lastPacketId;
    session.supersededNext = {first};
    room().subscribe({"sport"}, {});
    EXPECT_EQ(rooms_->subscriptionRequests.batches().countUnanswered(), 1U);
    session.subAck(session.lastPacketId, {1, 1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news", "delegate: Subscribed sport"));
}

TEST_F(OverlappingBatchesTest, AreAnsweredOneByOneWhereTheSessionSendsThemSo) {
    auto& session = connectAndListen();
    session.isSubscribingOneByOne = true;
    room().subscribe({"news", "sport"}, {});
    const auto second = session.lastPacketId;
    session.subAck(static_cast<std::uint16_t>(second - 1), {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news"));
    session.subAck(second, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed sport"));
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre(kNews, kSport));
}

TEST_F(OverlappingBatchesTest, AreForgottenWhenTheConnectionEnds) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {});
    EXPECT_EQ(rooms_->subscriptionRequests.batches().countUnanswered(), 1U);
    session.fail(MQTTSessionEvent::ConnectionError, makeError("MQTT", 104, "lost"));
    EXPECT_EQ(rooms_->subscriptionRequests.batches().countUnanswered(), 0U);
    rooms_->connection.connectToServer();
    session.connected();
    (void)takeHeard();
    session.subAck(session.lastPacketId, {1, 1, 1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news")) << "the batch of the connect";
}

TEST_F(OverlappingBatchesTest, MakeRoomForAnEventThatGetsTheirIdentifier) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {});
    session.delegate->subscriptionDidFail(session, kNews, ScriptedSession::reason(MQTTErrorCode::GivenUp));
    (void)takeHeard();
    --session.lastPacketId;
    room().subscribeEvent("login", {});
    session.subAck(session.lastPacketId, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed login"));
}

TEST_F(OverlappingBatchesTest, KeepWhatAHostAskedForInsideTheConnectedReport) {
    identify();
    bool isFirst = true;
    addDelegate([&] {
        if (rooms_->state.isConnected() && std::exchange(isFirst, false)) {
            room().subscribe({"news"}, {});
        }
    });
    rooms_->connection.connectToServer();
    auto& session = sessions_->latest();
    session.connected();
    ASSERT_EQ(session.calls.size(), 3U);
    EXPECT_EQ(session.calls[1], std::string("subscribe ") + kNews + "@1");
    (void)takeHeard();
    session.subAck(1, {1});
    session.subAck(2, {1, 1, 1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news"));
    EXPECT_THAT(storedTexts("subscribedTopics"),
                ElementsAre(kNews, "app/a1b2c3/user/alice01/default", "app/a1b2c3/user/alice01/D3V1CE"));
}

TEST_F(OverlappingBatchesTest, AreLeftToTheNewestTableWhenTheirIdentifierIsUnknown) {
    auto& session = connectAndListen();
    room().subscribe({"news"}, {});
    const auto known = session.lastPacketId;
    session.subAck(999, {1});
    session.subAck(known, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news"));
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre(kNews));
}

}  // namespace
}  // namespace xel
