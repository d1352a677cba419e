#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/TopicsTest.h"

namespace xel {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

/// Topics that the session refuses, or gives up later.
class RefusedTopicsTest : public TopicsTest {
protected:
    static constexpr auto kBell = "app/a1b2c3/user/public/be\x07ll";
    static constexpr auto kDevice = "app/a1b2c3/user/alice01/D3V1CE";
    static constexpr auto kDeliveries = "app/a1b2c3/delivery/alice01/#";

    ScriptedSession& connectRefusing(const std::string& topic) {
        auto& session = connectAndGrant();
        session.unsendable = {topic};
        session.calls.clear();
        keepFailures();
        return session;
    }
    void reconnect(ScriptedSession& session) {
        session.fail(MQTTSessionEvent::ConnectionError, makeError("MQTT", 104, "lost"));
        rooms_->connection.connectToServer();
        session.calls.clear();
        session.connected();
        machine_.runUntilIdle();
    }
};

TEST_F(RefusedTopicsTest, AreReportedAndLeaveEveryTable) {
    auto& session = connectRefusing(kBell);
    home_.defaults->setObject("subscribedTopics", Array{Value("other"), Value(kBell)});
    room().subscribe({"news", "be\x07ll"}, {});
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].domain, "InvalidParameter");
    EXPECT_EQ(failures[0].code, -5002);
    EXPECT_EQ(failures[0].localizedDescription(), "Channel 'be<U+0007>ll' is not subscribed to: the reason");
    EXPECT_EQ(detailUnder("topic", failures[0]), Value(kBell));
    EXPECT_THAT(wantedTopics(), ElementsAre("app/a1b2c3/user/alice01/default@1", std::string(kNews) + "@1"));
    EXPECT_EQ(*rooms_->subscriptionRequests.goingToTopics(), (TopicTable{{kNews, 1}}));
    EXPECT_EQ(onDisk("userChannels"), Value(Dictionary{{"app/a1b2c3/user/alice01/default", 1}, {kNews, 1}}));
    EXPECT_THAT(storedTexts("subscribedTopics"), ElementsAre("other"));
    addDelegate();
    session.subAck(session.lastPacketId, {1});
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Subscribed news"));
}

TEST_F(RefusedTopicsTest, LeaveTheTablesTogetherHoweverManyTheyAre) {
    auto& session = connectRefusing(kBell);
    std::vector<std::string> channels{"news"};
    for (int i = 0; i < 100; ++i) {
        channels.push_back("be\x07ll" + std::to_string(i));
        session.unsendable.insert("app/a1b2c3/user/public/" + channels.back());
    }
    const std::size_t before = machine_.disk->commitCount();
    room().subscribe(channels, {});
    EXPECT_THAT(takeFailures(), SizeIs(100));
    EXPECT_EQ(onDisk("userChannels"), Value(Dictionary{{"app/a1b2c3/user/alice01/default", 1}, {kNews, 1}}));
    EXPECT_THAT(wantedTopics(), ElementsAre("app/a1b2c3/user/alice01/default@1", std::string(kNews) + "@1"));
    EXPECT_LE(machine_.disk->commitCount(), before + 3)
        << "what is wanted, what is given up, what was granted";
}

TEST_F(RefusedTopicsTest, AreReportedAlsoWhenNothingIsWritten) {
    auto& session = connectRefusing(kBell);
    room().subscribe({"be\x07ll"}, {});
    EXPECT_THAT(takeFailures(), SizeIs(1));
    reconnect(session);
    EXPECT_THAT(takeFailures(), IsEmpty()) << "it is reported once";
    EXPECT_THAT(session.calls, IsEmpty());
}

TEST_F(RefusedTopicsTest, AreReportedOnceWhenWantedWhileOffline) {
    identify();
    keepFailures();
    room().subscribe({"be\x07ll"}, {});
    room().subscribe({"news"}, {});
    rooms_->session.createSession();
    sessions_->latest().unsendable = {kBell};
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    machine_.runUntilIdle();
    EXPECT_THAT(takeFailures(), SizeIs(1));
    EXPECT_EQ(lastOf(sessions_->latest().calls), std::string("subscribe ") + kNews + "@1")
        << "the queued work leaves it out";
}

TEST_F(RefusedTopicsTest, LeaveTheTablesBeforeTheHostHearsOfThem) {
    auto& session = connectRefusing(kBell);
    addDelegate([this, isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) {
            EXPECT_THAT(rooms_->channels.deviceSubscriptions(), ElementsAre("private/default", "news"));
            room().subscribe({"late"}, {});
        }
    });
    room().subscribe({"news", "be\x07ll"}, {});
    EXPECT_EQ(lastOf(session.calls), std::string("subscribe ") + kNews + "@1 app/a1b2c3/user/public/late@1");
}

TEST_F(RefusedTopicsTest, AreNotReportedOnAfterTheHostHasEndedTheSession) {
    auto& session = connectRefusing(kBell);
    session.unsendable.insert("app/a1b2c3/user/public/d\x01ng");
    addDelegate([this, isFirst = true]() mutable {
        if (std::exchange(isFirst, false)) {
            rooms_->coordinator.reset();
        }
    });
    room().subscribe({"be\x07ll", "d\x01ng"}, {});
    EXPECT_THAT(takeFailures(), SizeIs(1));
}

TEST_F(RefusedTopicsTest, OfEventsAreReported) {
    auto& session = connectRefusing("app/a1b2c3/event/login/a#b");
    room().subscribeEvent("login", {.installationId = "a#b"});
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].domain, "InvalidParameter");
    EXPECT_THAT(rooms_->subscriptionRequests.subscribeMsgIds(), IsEmpty());
    reconnect(session);
    EXPECT_THAT(session.calls, IsEmpty()) << "it is not asked for again";
}

TEST_F(RefusedTopicsTest, ToBeUnsubscribedFromAreReported) {
    connectRefusing(kBell);
    room().unsubscribe("be\x07ll");
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].localizedDescription(),
              "Channel 'be<U+0007>ll' is not unsubscribed from: the reason");
    EXPECT_THAT(rooms_->subscriptionRequests.unSubscribeMsgIds(), IsEmpty());
}

TEST_F(RefusedTopicsTest, ThatTheSessionGivesUpLaterLeaveEveryTableToo) {
    auto& session = connectRefusing("none");
    room().subscribe({"news"}, {});
    session.subAck(session.lastPacketId, {1});
    session.delegate->subscriptionDidFail(session, kNews, ScriptedSession::reason(MQTTErrorCode::GivenUp));
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].domain, "MQTT");
    EXPECT_EQ(failures[0].code, 109);
    EXPECT_EQ(failures[0].localizedDescription(), "Channel 'news' is not subscribed to: the reason");
    EXPECT_EQ(detailUnder("topic", failures[0]), Value(kNews));
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(), ElementsAre("private/default"));
    EXPECT_THAT(storedTexts("subscribedTopics"), Not(Contains(kNews)));
    reconnect(session);
    EXPECT_THAT(session.calls, IsEmpty());
}

TEST_F(RefusedTopicsTest, ThatWereGivenUpMayBeWantedAgain) {
    auto& session = connectRefusing("none");
    session.delegate->subscriptionDidFail(session, kNews, ScriptedSession::reason(MQTTErrorCode::GivenUp));
    room().subscribe({"news"}, {});
    EXPECT_EQ(lastOf(session.calls), std::string("subscribe ") + kNews + "@1");
    reconnect(session);
    EXPECT_EQ(lastOf(session.calls), std::string("subscribe ") + kNews + "@1");
}

TEST_F(RefusedTopicsTest, OfTheClientsOwnAreLeftOutForTheLifeOfTheSession) {
    rooms_->settings.setDeliveryChannelEnabeled(true);
    auto& session = connectRefusing("none");
    for (const auto* topic : {kDevice, kDeliveries}) {
        session.delegate->subscriptionDidFail(session, topic,
                                              ScriptedSession::reason(MQTTErrorCode::GivenUp));
    }
    EXPECT_THAT(takeFailures(), SizeIs(2));
    reconnect(session);
    EXPECT_THAT(session.calls, IsEmpty());
    rooms_->session.drop();
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    EXPECT_EQ(lastOf(sessions_->latest().calls),
              std::string("subscribe ") + kDevice + "@1 " + kDeliveries + "@1");
}

TEST_F(RefusedTopicsTest, ToBeUnsubscribedFromMayFailLater) {
    auto& session = connectRefusing("none");
    session.delegate->unsubscriptionDidFail(session, kNews, ScriptedSession::reason(MQTTErrorCode::GivenUp));
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].code, 109);
    EXPECT_EQ(detailUnder("topic", failures[0]), Value(kNews));
}

/// What can neither be sent nor is refused waits.
class WaitingTopicsTest : public RefusedTopicsTest {};

TEST_F(WaitingTopicsTest, AreAskedForOnceAgainWhenConnectedAgain) {
    auto& session = connectRefusing("none");
    session.isOutOfIdentifiers = true;
    room().subscribe({"news"}, {});
    room().subscribeEvent("login", {});
    room().unsubscribe("old");
    EXPECT_THAT(rooms_->subscriptionRequests.subscribeMsgIds(), IsEmpty());
    EXPECT_THAT(rooms_->subscriptionRequests.unSubscribeMsgIds(), IsEmpty());
    EXPECT_THAT(takeFailures(), IsEmpty());
    session.isOutOfIdentifiers = false;
    reconnect(session);
    EXPECT_THAT(
        session.calls,
        ElementsAre(std::string("subscribe ") + kNews + "@1", std::string("subscribe ") + kNews + "@1",
                    "subscribe app/a1b2c3/event/login/+@1", "unsubscribe app/a1b2c3/user/public/old"));
    EXPECT_THAT(rooms_->subscriptionRequests.subscribeMsgIds(), SizeIs(1));
    EXPECT_THAT(rooms_->subscriptionRequests.unSubscribeMsgIds(), SizeIs(1));
    session.calls.clear();
    reconnect(session);
    EXPECT_THAT(session.calls, ElementsAre(std::string("subscribe ") + kNews + "@1"))
        << "the queued work is done";
}

TEST_F(WaitingTopicsTest, ToBeUnsubscribedFromAreGivenToTheSessionAtOnce) {
    auto& session = connectRefusing("none");
    session.fail(MQTTSessionEvent::ConnectionError, makeError("MQTT", 104, "lost"));
    session.calls.clear();
    room().unsubscribe("news");
    EXPECT_THAT(session.calls, ElementsAre(std::string("unsubscribe ") + kNews));
    EXPECT_THAT(rooms_->subscriptionRequests.unSubscribeMsgIds(), IsEmpty()) << "it was not sent";
    rooms_->connection.connectToServer();
    session.calls.clear();
    session.connected();
    machine_.runUntilIdle();
    EXPECT_THAT(session.calls, ElementsAre(std::string("unsubscribe ") + kNews));
    EXPECT_THAT(rooms_->subscriptionRequests.unSubscribeMsgIds(),
                ElementsAre(testing::Pair(session.lastPacketId, kNews)));
}

/// What a list accepted before it failed.
class FailedListTest : public RefusedTopicsTest {};

TEST_F(FailedListTest, KeepsWhatItAcceptedForTheNextConnect) {
    identify();
    room().subscribe({"news", "bad#name"}, {});
    const auto stored = onDisk("userChannels");
    rooms_->connection.connectToServer();
    auto& session = sessions_->latest();
    session.connected();
    EXPECT_THAT(lastOf(session.calls), testing::HasSubstr(std::string(kNews) + "@1"));
    EXPECT_THAT(wantedTopics(), Contains(std::string(kNews) + "@1"));
    EXPECT_EQ(stored, Value(Dictionary{{"app/a1b2c3/user/alice01/default", 1}}));
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(), Not(Contains("news")))
        << "the stored table does not have it";
}

TEST_F(FailedListTest, KeepsNothingThatWasUnsubscribedOrResetMeanwhile) {
    identify();
    room().subscribe({"news", "sport", "bad#name"}, {});
    room().unsubscribe("news");
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    EXPECT_THAT(wantedTopics(), Not(Contains(std::string(kNews) + "@1")));
    EXPECT_THAT(wantedTopics(), Contains("app/a1b2c3/user/public/sport@1"));
    room().subscribe({"late", "bad#name"}, {});
    rooms_->coordinator.reset();
    identify();
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    EXPECT_THAT(wantedTopics(), ElementsAre("app/a1b2c3/user/alice01/default@1"));
}

TEST_F(FailedListTest, ChangesNoQualityOfServiceThatTheHostChoseLater) {
    identify();
    room().subscribe({"news", "bad#name"}, {});
    room().subscribe({"news"}, {.live = true});
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    EXPECT_THAT(wantedTopics(), Contains(std::string(kNews) + "@0"));
}

}  // namespace
}  // namespace xel
