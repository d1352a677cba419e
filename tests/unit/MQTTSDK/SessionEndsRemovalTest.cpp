#include "tests/FirstAndLast.h"
#include "tests/unit/MQTTSDK/SessionEndsTest.h"

// Connections that the broker ends on a topic that is to be forgotten.

namespace xel {
namespace {

using namespace std::chrono_literals;

TEST_F(SessionEnds, GiveUpAnUnsubscriptionWithItsReason) {
    options.firstRetry = 1s;
    options.longestRetry = 1s;
    grantTopics({{"bad", 1}});
    connectQuietly();
    session->unsubscribeTopic("bad");
    run();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(takeWritten().at(0), "UNSUBSCRIBE #1 bad");
        end();
        connectQuietlyKeeping();
    }
    for (int i = 0; i < 5; ++i) {
        const auto packetId = idOf(session->subscribeToTopic("other", 1));
        run();
        feed(suback(packetId, {1}));
        static_cast<void>(takeWritten());
        delegate.lines.clear();
        loop->advanceBy(1s);
        EXPECT_EQ(takeWritten(), (Lines{"UNSUBSCRIBE #1 bad", "|"}));
        EXPECT_EQ(removals(), std::vector<std::string>{"bad"});
        end();
        connectQuietlyKeeping();
    }
    EXPECT_THAT(delegate.lines, testing::Contains("unsubscription failed bad"));
    EXPECT_THAT(lastOf(delegate.errors).localizedDescription(),
                testing::HasSubstr("unsubscribing from topic 'bad' was given up"));
    EXPECT_EQ(removals(), std::vector<std::string>{});
    loop->advanceBy(10s);
    EXPECT_EQ(takeWritten(), Lines{});
}

TEST_F(SessionEnds, GiveUpOneTopicOfARemovalAndLetTheOthersPass) {
    options.firstRetry = 1s;
    options.longestRetry = 1s;
    grantTopics({{"bad", 1}, {"good", 1}});
    session->unsubscribeTopics(std::vector<std::string>{"bad", "good"});
    makeSession();
    for (int i = 0; i < 2; ++i) {
        EXPECT_THAT(firstOf(writtenAfterConnect()), testing::EndsWith(" bad good"));
        end();
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(firstOf(writtenAfterConnect()), testing::EndsWith(" bad"));
        end();
    }
    const Lines good = writtenAfterConnect();
    EXPECT_THAT(good.at(0), testing::EndsWith(" good"));
    feed(encodeUnsubAck(idIn(good.at(0))));
    EXPECT_EQ(removals(), std::vector<std::string>{"bad"});
    for (int i = 0; i < 5; ++i) {
        const auto packetId = idOf(session->subscribeToTopic("other", 1));
        run();
        feed(suback(packetId, {1}));
        static_cast<void>(takeWritten());
        loop->advanceBy(1s);
        EXPECT_THAT(firstOf(takeWritten()), testing::EndsWith(" bad"));
        end();
        connectQuietlyKeeping();
    }
    EXPECT_THAT(delegate.lines, testing::Contains("unsubscription failed bad"));
    EXPECT_THAT(delegate.lines, testing::Not(testing::Contains(testing::HasSubstr("unsuback"))));
    EXPECT_EQ(removals(), std::vector<std::string>{});
}

TEST_F(SessionEnds, AnswerARemovalOnceEachOfItsTopicsIsAnswered) {
    grantTopics({{"a", 1}, {"b", 1}});
    connectQuietly();
    EXPECT_EQ(idOf(session->unsubscribeTopics(std::vector<std::string>{"a", "b"})), 1);
    run();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(takeWritten(), (Lines{"UNSUBSCRIBE #1 a b", "|"}));
        end();
        connectQuietlyKeeping();
    }
    delegate.lines.clear();
    EXPECT_EQ(takeWritten(), (Lines{"UNSUBSCRIBE #2 a", "|"}));
    EXPECT_EQ(writtenAfter(encodeUnsubAck(2)), (Lines{"UNSUBSCRIBE #3 b", "|"}));
    EXPECT_EQ(delegate.lines, Lines{});
    EXPECT_EQ(writtenAfter(encodeUnsubAck(3)), Lines{});
    EXPECT_EQ(delegate.lines, Lines{"unsuback #1"});
    EXPECT_EQ(idOf(session->unsubscribeTopics(std::vector<std::string>{"a", "b"})), 4);
    run();
    EXPECT_EQ(takeWritten(), (Lines{"UNSUBSCRIBE #4 a b", "|"})) << "everything was answered";
}

TEST_F(SessionEnds, KeepTheTopicsOfARemovalApartThatIsAskedForMeanwhile) {
    for (int i = 0; i < 2; ++i) {
        connectQuietly();
        end();
    }
    connectQuietly();
    const auto packetId = idOf(session->unsubscribeTopics(std::vector<std::string>{"a", "b"}));
    run();
    const Lines first = takeWritten();
    EXPECT_THAT(first.at(0), testing::EndsWith(" a"));
    const Lines second = writtenAfter(encodeUnsubAck(idIn(first.at(0))));
    EXPECT_THAT(second.at(0), testing::EndsWith(" b"));
    feed(encodeUnsubAck(idIn(second.at(0))));
    EXPECT_EQ(delegate.lines, Lines{"unsuback #" + std::to_string(packetId)});
}

TEST_F(SessionEnds, TryNoUnsubscriptionOfATopicThatIsWantedAgain) {
    grantTopics({{"bad", 1}});
    connectQuietly();
    session->unsubscribeTopic("bad");
    for (int i = 0; i < 3; ++i) {
        run();
        end();
        connectQuietly();
    }
    const auto packetId = idOf(session->subscribeToTopic("bad", 1));
    EXPECT_NE(packetId, 0);
    run();
    feed(suback(packetId, {1}));
    static_cast<void>(takeWritten());
    loop->advanceBy(2min);
    EXPECT_EQ(takeWritten(), Lines{}) << "the broker would forget the topic";
    EXPECT_EQ(granted(), (TopicTable{{"bad", 1}}));
}

}  // namespace
}  // namespace xel
