// What a session keeps over the end of a connection and of a process: publications and granted topics.

#include <stdexcept>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "tests/unit/MQTTSDK/SessionTest.h"
#include "tests/unit/MQTTSDK/UnreadableMemory.h"

namespace xel {
namespace {

/// Counts what is posted on another loop.
class PostCountingLoop final : public NSRunLoop {
public:
    explicit PostCountingLoop(NSRunLoop& loop) : loop_(loop) {}

    void post(std::function<void()> block) override {
        ++count;
        loop_.post(std::move(block));
    }
    std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                           std::function<void()> block) override {
        return loop_.scheduleTimer(delay, std::move(block));
    }
    [[nodiscard]] bool isCurrent() const override { return loop_.isCurrent(); }
    void run() override { loop_.run(); }
    void stop() override { loop_.stop(); }

    std::size_t count = 0;

private:
    NSRunLoop& loop_;
};

class SessionWithMemory : public SessionTest {
protected:
    /// Puts a session on that loop and memory in the place of the other, for as long as the result lives.
    [[nodiscard]] auto sessionOn(NSRunLoop& otherLoop, SessionMemory& otherMemory) {
        session = MQTTClientSessionFactory(streams, clock, nullptr, options)
                      .makeSession(parameters, otherLoop, otherMemory);
        session->setDelegate(&delegate);
        return OnLeaving([this] { session.reset(); });
    }
};

class SessionOutbox : public SessionWithMemory {
protected:
    std::size_t storedCount() { return memory.loadOutbox(kClient).value().size(); }

    void lose() {
        connection().fail(ByteStreamErrorCode::ConnectionLost, "reset");
        run();
    }
};

TEST_F(SessionOutbox, SendsAPublicationAtOnceAndForgetsItWhenAcknowledged) {
    connectQuietly();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", true));
    EXPECT_EQ(storedCount(), 1U) << "durable before it returns";
    run();
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH #1 t x q1r", "|"}));
    feed(encodePubAck(1));
    EXPECT_EQ(storedCount(), 0U);
    EXPECT_EQ(delegate.lines, Lines{});
}

TEST_F(SessionOutbox, GathersThePublicationsOfAPassIntoOneWrite) {
    connectQuietly();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    }
    EXPECT_TRUE(session->publishDataAtMostOnce("y", "t", true));
    const auto writes = streams->count;
    run();
    EXPECT_EQ(streams->count, writes + 1);
    EXPECT_EQ(takeWritten(),
              (Lines{"PUBLISH #1 t x q1", "PUBLISH #2 t x q1", "PUBLISH #3 t x q1", "PUBLISH t y q0r", "|"}));
}

TEST_F(SessionOutbox, LeavesTheGatheringToAStreamThatGathers) {
    PostCountingLoop counting(*loop);
    const auto holding = sessionOn(counting, memory);
    streams->gathers = true;
    connectQuietly();
    const auto writes = streams->count;
    const auto posts = counting.count;
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    EXPECT_TRUE(session->publishDataAtMostOnce("y", "t", true));
    EXPECT_EQ(streams->count, writes + 2) << "at once";
    EXPECT_EQ(counting.count, posts + 1) << "the stream's own segment, and nothing else was planned";
}

TEST_F(SessionOutbox, KeepsSubscribesFromAStreamThatGathersUntilNoneCanBeSuperseded) {
    streams->gathers = true;
    connectQuietly();
    const auto writes = streams->count;
    EXPECT_EQ(session->subscribeToTopics({{"a", 1}}).batches.size(), 1U);
    EXPECT_EQ(session->subscribeToTopics({{"a", 1}, {"b", 1}}).superseded.size(), 1U);
    EXPECT_EQ(streams->count, writes);
    run();
    EXPECT_EQ(streams->count, writes + 1);
}

TEST_F(SessionOutbox, HoldsNoGreatAmountBackUntilTheEndOfThePass) {
    connectQuietly();
    const auto writes = streams->count;
    const std::string data(10'000, 'x');
    for (int i = 0; i < 20; ++i) {
        EXPECT_TRUE(session->publishDataAtMostOnce(data, "t", false));
    }
    EXPECT_EQ(streams->count, writes + 2);
}

TEST_F(SessionOutbox, GoesOnWhileItCannotBeReadAndComesFirstOnceItCan) {
    EXPECT_TRUE(session->publishDataAtLeastOnce("old", "t", false));
    UnreadableMemory unreadable(memory);
    const auto end = sessionOn(*loop, unreadable);
    connectQuietly();
    EXPECT_FALSE(session->publishDataAtLeastOnce("refused", "t", false));
    feed(publication(7));
    EXPECT_EQ(delegate.lines, turn(7, 7)) << "it receives";
    static_cast<void>(takeWritten());
    unreadable.isReadable = true;
    EXPECT_TRUE(session->publishDataAtLeastOnce("new", "t", false));
    run();
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH #1 t old q1 dup", "PUBLISH #2 t new q1", "|"}));
}

TEST_F(SessionOutbox, TakesMoreWithoutAConnectionOnceItCanBeRead) {
    EXPECT_TRUE(session->publishDataAtLeastOnce("old", "t", false));
    UnreadableMemory unreadable(memory);
    const auto end = sessionOn(*loop, unreadable);
    EXPECT_FALSE(session->publishDataAtLeastOnce("refused", "t", false));
    unreadable.isReadable = true;
    EXPECT_TRUE(session->publishDataAtLeastOnce("new", "t", false));
    connect();
    EXPECT_EQ(takeWritten(), (Lines{"CONNECT shop/alice/d1 user password 180", "|", "PUBLISH #1 t old q1 dup",
                                    "PUBLISH #2 t new q1", "|"}));
}

TEST_F(SessionOutbox, IsSentWithTheNextAnswerOnceItCanBeRead) {
    EXPECT_TRUE(session->publishDataAtLeastOnce("old", "t", false));
    UnreadableMemory unreadable(memory);
    const auto end = sessionOn(*loop, unreadable);
    connectQuietly();
    EXPECT_EQ(idOf(session->subscribeToTopic("a", 1)), 1) << "which is the stored one's too";
    run();
    static_cast<void>(takeWritten());
    unreadable.isReadable = true;
    EXPECT_FALSE(session->publishDataAtLeastOnce("refused", "t", false));
    feed(suback(1, {1}));
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH #1 t old q1 dup", "|"}));
    EXPECT_TRUE(session->publishDataAtLeastOnce("new", "t", false));
}

TEST_F(SessionOutbox, SendsAfterTheNextConnectWhatWasPublishedBefore) {
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    EXPECT_TRUE(session->publishDataAtMostOnce("dropped", "t", false));
    openStream();
    EXPECT_TRUE(session->publishDataAtLeastOnce("y", "t", false)) << "connecting is not connected";
    run();
    EXPECT_EQ(takeWritten(), (Lines{"CONNECT shop/alice/d1 user password 180", "|"}));
    feed(encodeConnAck(true, 0));
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH #1 t x q1", "PUBLISH #2 t y q1", "|"}));
}

TEST_F(SessionOutbox, SendsAgainAfterALossInOrderMarkedAndUnderTheSameIdentifier) {
    connectQuietly();
    for (const std::string_view data : {"a", "b", "c"}) {
        EXPECT_TRUE(session->publishDataAtLeastOnce(data, "t", false));
    }
    run();
    feed(encodePubAck(2));
    lose();
    EXPECT_TRUE(session->publishDataAtLeastOnce("d", "t", false));
    connect();
    EXPECT_EQ(takeWritten(), (Lines{"CONNECT shop/alice/d1 user password 180", "|", "PUBLISH #1 t a q1 dup",
                                    "PUBLISH #3 t c q1 dup", "PUBLISH #4 t d q1", "|"}));
}

TEST_F(SessionOutbox, SendsAgainAfterANewStartOfTheProcess) {
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", true));
    makeSession();
    connect();
    EXPECT_EQ(takeWritten().at(2), "PUBLISH #1 t x q1r dup");
    EXPECT_TRUE(session->publishDataAtLeastOnce("y", "t", false));
    run();
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH #2 t y q1", "|"}));
}

TEST_F(SessionOutbox, SendsAgainWithACleanSessionToo) {
    parameters.cleanSession = true;
    makeSession();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    connect(false);
    EXPECT_EQ(takeWritten(),
              (Lines{"CONNECT shop/alice/d1 user password 180 clean", "|", "PUBLISH #1 t x q1", "|"}));
}

TEST_F(SessionOutbox, TellsItsMemoryOnceForAllAcknowledgementsOfARead) {
    connectQuietly();
    std::string acknowledged;
    for (std::uint16_t id = 1; id <= 100; ++id) {
        EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
        acknowledged += encodePubAck(id);
    }
    run();
    const auto commits = disk->commitCount();
    feed(acknowledged);
    EXPECT_EQ(disk->commitCount(), commits + 1);
    EXPECT_EQ(storedCount(), 0U);
}

TEST_F(SessionOutbox, ForgetsAlsoWhenTheConnectionEndsInTheSameRead) {
    connectQuietly();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    run();
    feed(encodePubAck(1) + std::string("\xF0\x00", 2));
    EXPECT_EQ(delegate.lines, Lines{"ProtocolError"});
    EXPECT_EQ(storedCount(), 0U);
}

TEST_F(SessionOutbox, IgnoresAcknowledgementsThatItDoesNotWaitFor) {
    connectQuietly();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    run();
    feed(encodePubAck(2) + encodePubAck(1) + encodePubAck(1));
    EXPECT_EQ(delegate.lines, Lines{});
    EXPECT_EQ(session->status(), MQTTSessionStatus::Connected);
    EXPECT_EQ(storedCount(), 0U);
}

TEST_F(SessionOutbox, UsesNoIdentifierThatIsInUse) {
    connectQuietly();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    EXPECT_EQ(idOf(session->subscribeToTopic("a", 1)), 2);
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 3);
    EXPECT_TRUE(session->publishDataAtLeastOnce("y", "t", false));
    run();
    EXPECT_EQ(takeWritten().at(3), "PUBLISH #4 t y q1");
}

TEST_F(SessionOutbox, RefusesWhatCannotBePublished) {
    connectQuietly();
    const std::string great(std::size_t{1024} * 1024, 'x');
    const std::string longTopic(65'536, 't');
    for (const std::string_view topic :
         {std::string_view(""), std::string_view("a/#"), std::string_view("+"), std::string_view("\0", 1),
          std::string_view("\xFF"), std::string_view(longTopic)}) {
        EXPECT_FALSE(session->publishDataAtMostOnce("x", topic, false));
        EXPECT_FALSE(session->publishDataAtLeastOnce("x", topic, false));
    }
    EXPECT_FALSE(session->publishDataAtMostOnce(great, "t", false));
    EXPECT_FALSE(session->publishDataAtLeastOnce(great, "t", false));
    run();
    EXPECT_EQ(takeWritten(), Lines{});
    EXPECT_EQ(storedCount(), 0U);
}

TEST_F(SessionOutbox, TellsTheOwnerWhatAnEarlierLifeLeftThatCannotBeSent) {
    ASSERT_TRUE(memory.appendToOutbox(kClient, {1, "bell\x07", "x", false}).isOk());
    ASSERT_TRUE(memory.appendToOutbox(kClient, {2, "t", "y", false}).isOk());
    makeSession();
    connectQuietly();
    run();
    EXPECT_EQ(storedCount(), 1U);
    ASSERT_EQ(delegate.errors.size(), 1U);
    EXPECT_TRUE(isMQTTError(delegate.errors[0], MQTTErrorCode::NameNotSendable));
}

TEST_F(SessionOutbox, RefusesWhatCannotBeStoredAndDoesNotSendIt) {
    connectQuietly();
    disk->setFailingCommits(true);
    EXPECT_FALSE(session->publishDataAtLeastOnce("x", "t", false));
    run();
    EXPECT_EQ(takeWritten(), Lines{});
}

class SessionTopics : public SessionWithMemory {};

TEST_F(SessionTopics, AreSubscribedInOnePacketAndStoredBeforeTheOwnerHears) {
    connectQuietly(false);
    EXPECT_EQ(idOf(session->subscribeToTopics({{"b", 1}, {"a", 0}, {"c", 1}})), 1);
    run();
    EXPECT_EQ(takeWritten(), (Lines{"SUBSCRIBE #1 b:1 a:0 c:1", "|"}));
    delegate.onSubAck = [this](MQTTSession&) { EXPECT_EQ(granted(), (TopicTable{{"b", 1}, {"a", 0}})); };
    feed(suback(1, {1, 0, 128}));
    EXPECT_EQ(delegate.lines, Lines{"suback #1 1 0 128"});
    EXPECT_EQ(granted(), (TopicTable{{"b", 1}, {"a", 0}}));
}

TEST_F(SessionTopics, AreAskedForAtAQoSThatTheSessionSpeaks) {
    connectQuietly();
    EXPECT_EQ(idOf(session->subscribeToTopics({{"a", -1}, {"b", 0}, {"c", 1}, {"d", 2}, {"e", 0x81}})), 1);
    run();
    EXPECT_EQ(takeWritten(), (Lines{"SUBSCRIBE #1 a:0 b:0 c:1 d:1 e:1", "|"}));
}

TEST_F(SessionTopics, AreNotSubscribedWithoutAConnection) {
    EXPECT_EQ(idOf(session->subscribeToTopic("a", 1)), 0);
    openStream();
    EXPECT_EQ(idOf(session->subscribeToTopics({{"a", 1}})), 0);
    run();
    EXPECT_EQ(takeWritten(), (Lines{"CONNECT shop/alice/d1 user password 180", "|"}));
}

TEST_F(SessionTopics, LeaveTheMemoryWhenARenewalIsRefused) {
    grantTopics({{"a", 1}});
    connectQuietly();
    EXPECT_EQ(idOf(session->subscribeToTopic("a", 1)), 1);
    run();
    feed(suback(1, {128}));
    EXPECT_TRUE(granted().empty());
    EXPECT_EQ(delegate.lines, Lines{"suback #1 128"});
}

TEST_F(SessionTopics, LeaveTheMemoryAtOnceWhenUnsubscribed) {
    grantTopics({{"a", 1}, {"b", 1}, {"c", 1}});
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 0) << "without a connection";
    EXPECT_EQ(granted(), (TopicTable{{"b", 1}, {"c", 1}}));
    connectQuietly();
    const std::vector<std::string> topics{"c", "unknown"};
    EXPECT_EQ(idOf(session->unsubscribeTopics(topics)), 1);
    EXPECT_EQ(granted(), (TopicTable{{"b", 1}}));
    run();
    EXPECT_EQ(takeWritten(), (Lines{"UNSUBSCRIBE #1 c unknown", "|"}));
    feed(encodeUnsubAck(1));
    EXPECT_EQ(delegate.lines, Lines{"unsuback #1"});
}

TEST_F(SessionTopics, AreNotGrantedByAnAnswerThatAnUnsubscribeHasOvertaken) {
    connectQuietly();
    session->subscribeToTopics({{"a", 1}, {"b", 1}});
    session->unsubscribeTopic("a");
    run();
    feed(suback(1, {1, 1}) + encodeUnsubAck(2));
    EXPECT_EQ(granted(), (TopicTable{{"b", 1}}));
}

TEST_F(SessionTopics, AreLeftAloneWhenTheBrokerKeptTheSession) {
    grantTopics({{"a", 1}});
    connect(true);
    EXPECT_EQ(takeWritten(), (Lines{"CONNECT shop/alice/d1 user password 180", "|"}));
}

TEST_F(SessionTopics, AreRestoredBeforeAnyDeliveryWhenTheBrokerKeptNoSession) {
    grantTopics({{"b", 1}, {"a", 0}});
    delegate.onEvent = [](MQTTSession& mine, MQTTSessionEvent) { mine.subscribeToTopic("new", 1); };
    openStream();
    static_cast<void>(takeWritten());
    feed(encodeConnAck(false, 0) + publication(7) + suback(1, {1, 0}) + suback(2, {1}));
    EXPECT_EQ(delegate.lines, (Lines{"Connected", "will", "t m7 q1 #7", "suback #2 1", "did"}))
        << "the session's own answer is its own";
    EXPECT_EQ(takeWritten(),
              joined(Lines{"SUBSCRIBE #1 b:1 a:0", "SUBSCRIBE #2 new:1", "|"}, acknowledgements(7, 7)));
    EXPECT_EQ(granted(), (TopicTable{{"b", 1}, {"a", 0}, {"new", 1}}));
}

TEST_F(SessionTopics, AreRestoredWithACleanSessionToo) {
    parameters.cleanSession = true;
    grantTopics({{"a", 1}});
    connect(false);
    EXPECT_EQ(takeWritten(),
              (Lines{"CONNECT shop/alice/d1 user password 180 clean", "|", "SUBSCRIBE #1 a:1", "|"}));
    EXPECT_EQ(granted(), (TopicTable{{"a", 1}}));
}

TEST_F(SessionTopics, AreRestoredOnTheNextConnectionOnceTheyCanBeRead) {
    ASSERT_TRUE(memory.storeGrantedTopics(kClient, {{"a", 1}, {"bell\x07", 1}}).isOk());
    UnreadableMemory unreadable(memory);
    const auto end = sessionOn(*loop, unreadable);
    connectQuietly();
    feed(publication(7));
    EXPECT_EQ(delegate.lines, turn(7, 7)) << "it receives";
    delegate.lines.clear();
    static_cast<void>(takeWritten());
    unreadable.isReadable = true;
    session->close();
    run();
    delegate.lines.clear();
    connect();
    EXPECT_EQ(delegate.lines, (Lines{"Connected", "subscription failed bell\x07"}));
    EXPECT_EQ(takeWritten(),
              (Lines{"CONNECT shop/alice/d1 user password 180", "|", "SUBSCRIBE #1 a:1", "|"}));
}

TEST_F(SessionTopics, GoWhenTheirRestorationIsRefused) {
    grantTopics({{"a", 1}, {"b", 1}, {"c", 1}});
    connectQuietly(false);
    feed(suback(1, {128, 1, 128}));
    EXPECT_EQ(delegate.lines, (Lines{"refused a", "refused c"}));
    EXPECT_EQ(granted(), (TopicTable{{"b", 1}}));
}

TEST_F(SessionTopics, AreNotReportedAsRefusedOnceUnsubscribed) {
    grantTopics({{"a", 1}, {"b", 1}});
    connectQuietly(false);
    session->unsubscribeTopic("a");
    run();
    feed(suback(1, {128, 128}));
    EXPECT_EQ(delegate.lines, Lines{"refused b"});
}

TEST_F(SessionTopics, AreAllReportedAsRefusedWhateverTheOwnerDoesMeanwhile) {
    grantTopics({{"a", 1}, {"b", 1}});
    connectQuietly(false);
    delegate.onTopicRefused = [](MQTTSession& mine, std::string_view topic) {
        if (topic == "a") {
            mine.close();
            throw std::runtime_error("the owner's");
        }
    };
    connection().feed(suback(1, {128, 128}));
    EXPECT_THROW(run(), std::runtime_error);
    run();
    EXPECT_EQ(delegate.lines, (Lines{"refused a", "ConnectionClosed", "refused b"}));

    grantTopics({{"a", 1}, {"b", 1}});
    connectQuietly(false);
    delegate.onTopicRefused = [this](MQTTSession&, std::string_view) { session.reset(); };
    feed(suback(1, {128, 128}));
    EXPECT_EQ(delegate.lines, (Lines{"refused a", "ConnectionClosed"}));
}

TEST_F(SessionTopics, AreRestoredOnTheNextConnectionWhenTheirAnswerWasLost) {
    grantTopics({{"a", 1}, {"b", 0}});
    connect(false);
    connection().fail(ByteStreamErrorCode::ConnectionLost, "reset");
    run();
    connect(true);
    EXPECT_EQ(takeWritten().at(2), "SUBSCRIBE #2 a:1 b:0");
    feed(suback(2, {1, 0}));
    EXPECT_EQ(granted(), (TopicTable{{"a", 1}, {"b", 0}}));
}

TEST_F(SessionTopics, AreRestoredAfterANewStartWhenTheirAnswerWasLost) {
    grantTopics({{"a", 1}, {"b", 0}});
    connect(false);
    session->unsubscribeTopic("b");
    makeSession();
    connect(true);
    EXPECT_THAT(takeWritten(), testing::Contains("SUBSCRIBE #2 a:1"));
    feed(encodeUnsubAck(1) + suback(2, {1}));
    makeSession();
    connect(true);
    EXPECT_EQ(takeWritten().size(), 2U) << "granted anew, so left alone";
}

TEST_F(SessionTopics, GoOnAfterAnOwnerThatThrew) {
    connectQuietly();
    session->subscribeToTopic("a", 1);
    run();
    delegate.onSubAck = [](MQTTSession&) { throw std::runtime_error("the owner's"); };
    connection().feed(suback(1, {1}) + publication(5));
    EXPECT_THROW(run(), std::runtime_error);
    run();
    EXPECT_EQ(delegate.lines, joined(Lines{"suback #1 1"}, turn(5, 5)));
    EXPECT_EQ(granted(), (TopicTable{{"a", 1}}));
}

TEST_F(SessionTopics, MayBeAnsweredToAnOwnerThatDropsTheSession) {
    connectQuietly();
    session->subscribeToTopic("a", 1);
    run();
    delegate.onSubAck = [this](MQTTSession&) { session.reset(); };
    feed(suback(1, {1}) + publication(5));
    EXPECT_EQ(delegate.lines, (Lines{"suback #1 1", "ConnectionClosed"}));
}

TEST_F(SessionTopics, ThatCannotBeSentAreLeftOutAndToldAtOnce) {
    connectQuietly();
    const auto outcome = session->subscribeToTopics({{"a/#/b", 1}, {"good", 1}, {"bell\x07", 1}});
    ASSERT_EQ(outcome.batches.size(), 1U);
    EXPECT_EQ(outcome.batches[0].filters, std::vector<std::string>{"good"});
    ASSERT_EQ(outcome.refused.size(), 2U);
    EXPECT_EQ(outcome.refused[0].topic, "a/#/b");
    EXPECT_EQ(outcome.refused[1].topic, "bell\x07");
    run();
    EXPECT_EQ(takeWritten(), (Lines{"SUBSCRIBE #1 good:1", "|"}));
    feed(suback(1, {1}));
    EXPECT_EQ(delegate.lines, Lines{"suback #1 1"});
    EXPECT_EQ(granted(), (TopicTable{{"good", 1}}));
}

}  // namespace
}  // namespace xel
