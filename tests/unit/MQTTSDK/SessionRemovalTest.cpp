#include "tests/unit/MQTTSDK/SessionTest.h"

// Topics that the broker is to be told to forget, across connections and restarts.

namespace xel {
namespace {

class SessionRemoval : public SessionTest {
protected:
    void loseConnection() {
        connection().fail(ByteStreamErrorCode::ConnectionLost, "no route");
        run();
    }

    /// What is written after CONNECT.
    Lines writtenAfterConnect(bool sessionPresent) {
        openStream();
        static_cast<void>(takeWritten());
        feed(encodeConnAck(sessionPresent, 0));
        return takeWritten();
    }
};

TEST_F(SessionRemoval, IsSentAgainFirstAndUnderItsIdentifierWhenItWasLost) {
    grantTopics({{"a", 1}, {"b", 1}});
    connectQuietly();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 2);
    run();
    loseConnection();
    delegate.lines.clear();
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"UNSUBSCRIBE #2 a", "PUBLISH #1 t x q1 dup", "|"}));
    feed(encodeUnsubAck(2));
    EXPECT_EQ(delegate.lines, (Lines{"Connected", "unsuback #2"}));
    EXPECT_EQ(granted(), (TopicTable{{"b", 1}}));
    loseConnection();
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"PUBLISH #1 t x q1 dup", "|"}))
        << "answered, so sent no more";
}

TEST_F(SessionRemoval, KeepsItsIdentifierFromOthersMeanwhile) {
    grantTopics({{"a", 1}});
    connectQuietly();
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 1);
    loseConnection();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"UNSUBSCRIBE #1 a", "PUBLISH #2 t x q1", "|"}));
}

TEST_F(SessionRemoval, IsSentAfterANewStart) {
    grantTopics({{"a", 1}, {"b", 1}});
    connectQuietly();
    session->unsubscribeTopic("a");
    makeSession();
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"UNSUBSCRIBE #1 a", "|"}));
    makeSession();
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"UNSUBSCRIBE #1 a", "|"})) << "nobody answered";
    feed(encodeUnsubAck(1));
    makeSession();
    EXPECT_EQ(writtenAfterConnect(true), Lines{});
}

TEST_F(SessionRemoval, AskedForOfflineIsTheOwnersToSendUntilANewStart) {
    grantTopics({{"a", 1}});
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 0);
    EXPECT_EQ(removals(), std::vector<std::string>{"a"});
    EXPECT_EQ(writtenAfterConnect(true), Lines{});
    makeSession();
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"UNSUBSCRIBE #1 a", "|"}));
}

TEST_F(SessionRemoval, AskedForOfflineIsSentForAnOwnerThatHasLetGo) {
    grantTopics({{"a", 1}});
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 0);
    session->setDelegate(nullptr);
    session->setDelegate(&delegate);
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"UNSUBSCRIBE #1 a", "|"}));
}

TEST_F(SessionRemoval, IsNotNeededWhenTheBrokerKeptNoSession) {
    grantTopics({{"a", 1}, {"b", 1}});
    connectQuietly();
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 1);
    loseConnection();
    delegate.lines.clear();
    EXPECT_EQ(writtenAfterConnect(false), (Lines{"SUBSCRIBE #2 b:1", "|"}));
    EXPECT_EQ(delegate.lines, (Lines{"Connected", "unsuback #1"})) << "it is done all the same";
    EXPECT_EQ(removals(), std::vector<std::string>{});
}

TEST_F(SessionRemoval, EndsWhenTheTopicIsSubscribedToAgain) {
    grantTopics({{"a", 1}, {"b", 1}});
    connectQuietly();
    session->unsubscribeTopic("a");
    session->unsubscribeTopic("b");
    session->subscribeToTopic("a", 1);
    EXPECT_EQ(removals(), std::vector<std::string>{"b"});
    loseConnection();
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"UNSUBSCRIBE #2 b", "|"}));
}

TEST_F(SessionRemoval, AskedForOfflineEndsWhenTheTopicIsSubscribedToAgain) {
    grantTopics({{"a", 1}});
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 0);
    connectQuietly();
    EXPECT_NE(idOf(session->subscribeToTopic("a", 1)), 0);
    EXPECT_EQ(removals(), std::vector<std::string>{});
    feed(suback(1, {1}));
    EXPECT_NE(idOf(session->unsubscribeTopic("a")), 0);
    loseConnection();
    EXPECT_EQ(writtenAfterConnect(true), (Lines{"UNSUBSCRIBE #2 a", "|"})) << "as if it had never been";
}

TEST_F(SessionRemoval, OfWhatIsNoFilterIsRefused) {
    connectQuietly();
    const auto outcome = session->unsubscribeTopics(std::vector<std::string>{"a/#/b", "good"});
    EXPECT_EQ(outcome.packetId, 1);
    ASSERT_EQ(outcome.refused.size(), 1U);
    EXPECT_EQ(outcome.refused[0].topic, "a/#/b");
    run();
    EXPECT_EQ(takeWritten(), (Lines{"UNSUBSCRIBE #1 good", "|"}));
}

TEST_F(SessionRemoval, OfAnUnsendableTopicIsRefusedUnlessTheBrokerGrantedIt) {
    grantTopics({{"bell\x07", 1}, {"good", 1}});
    run();
    EXPECT_EQ(delegate.lines, Lines{"subscription failed bell\x07"}) << "dropped when it was loaded";
    connectQuietly();
    EXPECT_EQ(idOf(session->unsubscribeTopic("bell\x07")), 1);
    const auto unknown = session->unsubscribeTopic("other\x07");
    EXPECT_EQ(unknown.packetId, 0);
    ASSERT_EQ(unknown.refused.size(), 1U);
    EXPECT_EQ(unknown.refused[0].topic, "other\x07");
    run();
    EXPECT_EQ(takeWritten(), (Lines{"UNSUBSCRIBE #1 bell\x07", "|"}));
    EXPECT_EQ(granted(), (TopicTable{{"good", 1}}));
}

}  // namespace
}  // namespace xel
