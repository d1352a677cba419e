#include "tests/unit/MQTTSDK/SessionEndsTest.h"

#include "tests/FirstAndLast.h"

// Connections that the broker ends on something that it was sent.

namespace xel {
namespace {

using namespace std::chrono_literals;

TEST_F(SessionEnds, InARowMakeItSendOneThingAtATime) {
    grantTopics({{"a", 1}, {"b", 0}});
    publish("one");
    publish("two");
    EXPECT_EQ(writtenAfterConnect(false).size(), 4U);
    end();
    EXPECT_EQ(writtenAfterConnect(false).size(), 4U) << "once is no row";
    end(End::Reset);
    EXPECT_EQ(writtenAfterConnect(false), (Lines{"SUBSCRIBE #5 a:1", "|"}));
    EXPECT_EQ(idOf(session->subscribeToTopics({{"new", 1}})), 7);
    run();
    EXPECT_EQ(takeWritten(), Lines{}) << "it waits for its turn";
    EXPECT_EQ(writtenAfter(suback(5, {1})), (Lines{"SUBSCRIBE #6 b:0", "|"}));
    EXPECT_EQ(writtenAfter(suback(6, {0})), (Lines{"SUBSCRIBE #7 new:1", "|"}));
    EXPECT_EQ(writtenAfter(suback(7, {1})), (Lines{"PUBLISH #1 t one q1 dup", "|"}));
    EXPECT_EQ(writtenAfter(encodePubAck(1)), (Lines{"PUBLISH #2 t two q1 dup", "|"}));
    EXPECT_EQ(writtenAfter(encodePubAck(2)), Lines{});
    publish("three");
    publish("four");
    run();
    EXPECT_EQ(takeWritten().size(), 3U) << "everything was answered, so everything goes at once again";
}

TEST_F(SessionEnds, AreInNoRowOnceEverythingWasAnsweredBetween) {
    for (int i = 0; i < 4; ++i) {
        publish("one");
        publish("two");
        const Lines written = writtenAfterConnect();
        ASSERT_EQ(written.size(), 3U) << i;
        for (const std::string& line : {written[0], written[1]}) {
            feed(encodePubAck(idIn(line)));
        }
        end();
    }
}

TEST_F(SessionEnds, AreCountedOnlyWhenTheBrokerEndedAnAcceptedConnection) {
    publish("one");
    publish("two");
    for (int i = 0; i < 4; ++i) {
        openStream();
        end();  // before CONNACK
        EXPECT_EQ(writtenAfterConnect().size(), 3U);
        end(End::Lost);
        EXPECT_EQ(writtenAfterConnect().size(), 3U);
        session->close();
        EXPECT_EQ(writtenAfterConnect().size(), 3U);
        feed("\xF0");  // a breach of the protocol, which the client answers by closing
    }
}

TEST_F(SessionEnds, SetAsideWhatWasAloneThreeTimesAndLetTheOthersPass) {
    for (const auto* data : {"bad", "good", "fine"}) {
        publish(data);
    }
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(writtenAfterConnect().size(), 4U);
        end();
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(writtenAfterConnect(), (Lines{"PUBLISH #1 t bad q1 dup", "|"}));
        end();
    }
    EXPECT_EQ(writtenAfterConnect(), (Lines{"PUBLISH #2 t good q1 dup", "|"}));
    EXPECT_EQ(writtenAfter(encodePubAck(2)), (Lines{"PUBLISH #3 t fine q1 dup", "|"}));
    EXPECT_EQ(writtenAfter(encodePubAck(3)), Lines{});
    publish("more");
    run();
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH #4 t more q1", "|"}));
}

TEST_F(SessionEnds, TryWhatWasSetAsideAloneAndEverMoreSeldom) {
    parameters.keepAlive = 0s;
    makeSession();
    setBadAside();
    static_cast<void>(takeWritten());
    for (const auto wait : {1min, 2min, 4min}) {
        loop->advanceBy(std::chrono::duration_cast<std::chrono::milliseconds>(wait) - 1ms);
        publish("other");
        run();
        const Lines other = takeWritten();
        ASSERT_EQ(other.size(), 2U);
        loop->advanceBy(1ms);
        EXPECT_EQ(takeWritten(), Lines{}) << "it waits for the answer to the other";
        publish("held");
        const auto id = idIn(other[0]);
        EXPECT_EQ(writtenAfter(encodePubAck(id)), (Lines{"PUBLISH #1 t bad q1 dup", "|"}));
        end();
        const Lines after = writtenAfterConnect();
        ASSERT_EQ(after.size(), 2U) << "all others at once, and not the bad one";
        EXPECT_THAT(after[0], testing::HasSubstr("held"));
        feed(encodePubAck(static_cast<std::uint16_t>(id + 1)));
        static_cast<void>(takeWritten());
    }
}

TEST_F(SessionEnds, GiveUpAPublicationWithItsReasonAfterFiveTriesWhileOthersWereAcknowledged) {
    options.firstRetry = 1s;
    options.longestRetry = 1s;
    makeSession();
    setBadAside();
    for (int i = 0; i < 5; ++i) {
        delegate.lines.clear();
        loop->advanceBy(1s);
        EXPECT_THAT(takeWritten(), testing::Contains("PUBLISH #1 t bad q1 dup"));
        EXPECT_EQ(memory.loadOutbox(kClient).value().size(), 1U);
        end();
        static_cast<void>(writtenAfterConnect());
        publish("other");
        run();
        const Lines other = takeWritten();
        feed(encodePubAck(idIn(other.at(0))));
    }
    EXPECT_EQ(delegate.lines, (Lines{"ConnectionClosedByBroker", "publication failed t bad", "Connected"}));
    EXPECT_THAT(lastOf(delegate.errors).localizedDescription(), testing::HasSubstr("given up"));
    EXPECT_TRUE(memory.loadOutbox(kClient).value().empty());
    loop->advanceBy(10s);
    EXPECT_EQ(takeWritten(), Lines{});
}

TEST_F(SessionEnds, NeverGiveUpWhileTheBrokerAcknowledgesNoPublication) {
    options.firstRetry = 1s;
    options.longestRetry = 1s;
    makeSession();
    publish("bad");
    for (int i = 0; i < 30; ++i) {
        static_cast<void>(writtenAfterConnect());
        session->subscribeToTopic("granted", 1);
        run();
        loop->advanceBy(1s);
        end();
    }
    EXPECT_EQ(memory.loadOutbox(kClient).value().size(), 1U);
    EXPECT_THAT(delegate.lines, testing::Not(testing::Contains(testing::HasSubstr("failed"))));
}

TEST_F(SessionEnds, GiveUpARestoredTopicAndRestoreTheOthers) {
    options.firstRetry = 1s;
    options.longestRetry = 1s;
    grantTopics({{"bad", 1}, {"good", 1}});
    for (int i = 0; i < 2; ++i) {
        static_cast<void>(writtenAfterConnect(false));
        end();
    }
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(firstOf(writtenAfterConnect(false)), testing::HasSubstr(" bad:1"));
        end();
    }
    std::uint16_t lastId = 0;
    const auto answerGood = [&](const Lines& written) {
        ASSERT_FALSE(written.empty());
        EXPECT_THAT(written.front(), testing::HasSubstr(" good:1"));
        lastId = idIn(written[0]);
        feed(suback(lastId, {1}));
    };
    answerGood(writtenAfterConnect(false));
    for (int i = 0; i < 5; ++i) {
        loop->advanceBy(1s);
        EXPECT_THAT(takeWritten(), testing::Contains(testing::HasSubstr(" bad:1")));
        delegate.lines.clear();
        end();
        // The mark of a restoration that is not over brings the topics back, whatever the broker kept.
        answerGood(writtenAfterConnect(true));
    }
    EXPECT_THAT(delegate.lines, testing::Contains("subscription failed bad"));
    EXPECT_EQ(granted(), (TopicTable{{"good", 1}}));
    loop->advanceBy(10s);
    EXPECT_EQ(takeWritten(), Lines{});
}

TEST_F(SessionEnds, GrantATopicThatWasSetAsideOnceTheBrokerTakesIt) {
    connectQuietly();
    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(idOf(session->subscribeToTopic("bad", 1)), 0);
        run();
        end();
        connectQuietly();
    }
    const std::uint16_t packetId = idOf(session->subscribeToTopic("bad", 1));
    EXPECT_NE(packetId, 0);
    run();
    EXPECT_EQ(takeWritten(), Lines{}) << "not before its time";
    loop->advanceBy(1min);
    EXPECT_EQ(takeWritten(), (Lines{"SUBSCRIBE #" + std::to_string(packetId) + " bad:1", "|"}));
    feed(suback(packetId, {1}));
    EXPECT_THAT(delegate.lines, testing::Contains("suback #" + std::to_string(packetId) + " 1"));
    EXPECT_EQ(granted(), (TopicTable{{"bad", 1}}));
    session->subscribeToTopic("bad", 1);
    run();
    EXPECT_EQ(takeWritten().size(), 2U) << "it is like any other again";
}

TEST_F(SessionEnds, TryNoTopicThatWasUnsubscribedMeanwhile) {
    connectQuietly();
    for (int i = 0; i < 3; ++i) {
        session->subscribeToTopic("bad", 1);
        run();
        end();
        connectQuietly();
    }
    session->subscribeToTopic("bad", 1);
    session->unsubscribeTopic("bad");
    run();
    const Lines written = takeWritten();
    ASSERT_EQ(written.size(), 2U);
    EXPECT_THAT(written[0], testing::StartsWith("UNSUBSCRIBE"));
    loop->advanceBy(10s);
    feed(encodeUnsubAck(idIn(written[0])));
    loop->advanceBy(100s);
    EXPECT_EQ(takeWritten(), Lines{});
}

TEST_F(SessionEnds, TryNoTopicThatWasUnsubscribedWhileItsTryWaited) {
    connectQuietly();
    setBadTopicAside("bad");
    session->subscribeToTopic("bad", 1);
    publish("first");
    run();
    feed(encodePubAck(idIn(takeWritten().at(0))));
    loop->advanceBy(1min - 1s);
    publish("other");
    run();
    const Lines other = takeWritten();
    loop->advanceBy(1s);
    EXPECT_EQ(takeWritten(), Lines{}) << "the try waits for the answer to the other";
    const auto packetId = idOf(session->unsubscribeTopic("bad"));
    EXPECT_EQ(writtenAfter(encodePubAck(idIn(other.at(0)))),
              (Lines{"UNSUBSCRIBE #" + std::to_string(packetId) + " bad", "|"}));
    EXPECT_EQ(writtenAfter(encodeUnsubAck(packetId)), Lines{});
    publish("more");
    run();
    EXPECT_EQ(takeWritten().size(), 2U) << "nothing is held any more";
}

TEST_F(SessionEnds, TryTheNextWhenTheFirstIsNoLongerWanted) {
    connectQuietly();
    setBadTopicAside("first");
    loop->advanceBy(10s);
    setBadTopicAside("second");
    session->subscribeToTopic("first", 1);
    session->subscribeToTopic("second", 1);
    const auto packetId = idOf(session->unsubscribeTopic("first"));
    feed(encodeUnsubAck(packetId));
    static_cast<void>(takeWritten());
    loop->advanceBy(50s);
    EXPECT_EQ(takeWritten(), Lines{}) << "the time of the first";
    loop->advanceBy(10s);
    const Lines written = takeWritten();
    ASSERT_FALSE(written.empty());
    EXPECT_THAT(written[0], testing::HasSubstr(" second:1"));
}

TEST_F(SessionEnds, TryWhatCameDueWithoutAConnectionOnTheNextOne) {
    setBadAside();
    end(End::Lost);
    static_cast<void>(takeWritten());
    loop->advanceBy(1min);
    EXPECT_EQ(network->connections().size(), 6U);
    EXPECT_EQ(takeWritten(), Lines{});
    EXPECT_EQ(writtenAfterConnect(), (Lines{"PUBLISH #1 t bad q1 dup", "|"}));
}

TEST_F(SessionEnds, HoldEverythingElseWhileSomethingIsTried) {
    setBadAside();
    static_cast<void>(takeWritten());
    loop->advanceBy(1min);
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH #1 t bad q1 dup", "|"}));
    const auto subscribe = idOf(session->subscribeToTopic("a", 1));
    const auto unsubscribe = idOf(session->unsubscribeTopic("b"));
    publish("more");
    run();
    EXPECT_EQ(takeWritten(), Lines{});
    const Lines written = writtenAfter(encodePubAck(1));
    EXPECT_EQ(written, (Lines{"SUBSCRIBE #" + std::to_string(subscribe) + " a:1",
                              "UNSUBSCRIBE #" + std::to_string(unsubscribe) + " b", written.at(2), "|"}));
    EXPECT_THAT(written.at(2), testing::HasSubstr("t more q1"));
}

TEST_F(SessionEnds, SendNothingTwiceWhileSomethingIsSetAside) {
    setBadAside();
    publish("one");
    publish("two");
    run();
    static_cast<void>(takeWritten());
    EXPECT_EQ(writtenAfter(encodePubAck(3)), Lines{}) << "the other has left already";
    EXPECT_EQ(writtenAfter(encodePubAck(4)), Lines{});
}

TEST_F(SessionEnds, OneAtATimeAsksForNothingWithoutAConnection) {
    publish("one");
    for (int i = 0; i < 2; ++i) {
        static_cast<void>(writtenAfterConnect());
        end();
    }
    static_cast<void>(writtenAfterConnect());
    end(End::Lost);
    EXPECT_TRUE(session->subscribeToTopic("a", 1).batches.empty());
    loop->advanceBy(10min);
    EXPECT_EQ(network->connections().size(), 3U);
    EXPECT_EQ(loop->scheduledTimerCount(), 0U);
}

TEST_F(SessionEnds, LeaveWaitingWhatFindsNoFreeIdentifier) {
    options.maxOutboxPublications = 70'000;
    grantTopics({{"old", 1}});
    session->unsubscribeTopic("old");
    makeSession();
    for (int i = 1; i < 0x10000; ++i) {
        ASSERT_TRUE(session->publishDataAtLeastOnce("", "t", false));
    }
    EXPECT_FALSE(session->publishDataAtLeastOnce("one too many", "t", false));
    connectQuietly();
    EXPECT_TRUE(session->subscribeToTopics({{"a", 1}}).batches.empty());
    EXPECT_EQ(idOf(session->unsubscribeTopic("b")), 0);
    EXPECT_EQ(removals(), (std::vector<std::string>{"b", "old"})) << "they are not forgotten";
    for (int i = 0; i < 2; ++i) {
        end();
        connectQuietlyKeeping();
    }
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH #1 t  q1 dup", "|"})) << "one at a time, but not the removal";
    feed(encodePubAck(1));
    end(End::Lost);
    EXPECT_EQ(writtenAfterConnect(), (Lines{"UNSUBSCRIBE #1 old", "|"}))
        << "b is its owner's to ask for again";
}

TEST_F(SessionEnds, OneAtATimeDropsWhatNoAnswerWouldTellApart) {
    publish("one");
    for (int i = 0; i < 2; ++i) {
        static_cast<void>(writtenAfterConnect());
        end();
    }
    EXPECT_FALSE(session->sendsAtMostOnce()) << "there is no connection";
    static_cast<void>(writtenAfterConnect());
    EXPECT_FALSE(session->sendsAtMostOnce());
    EXPECT_TRUE(session->publishDataAtMostOnce("live", "t", false));
    run();
    EXPECT_EQ(takeWritten(), Lines{});
    feed(encodePubAck(1));
    EXPECT_TRUE(session->sendsAtMostOnce()) << "everything was answered";
    EXPECT_TRUE(session->publishDataAtMostOnce("live", "t", false));
    run();
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH t live q0", "|"}));
}

TEST_F(SessionEnds, OneAtATimeAsksForATopicOnceAPass) {
    for (int i = 0; i < 2; ++i) {
        connectQuietly();
        end();
    }
    connectQuietly();
    EXPECT_EQ(session->subscribeToTopics({{"a", 1}}).batches.size(), 1U);
    EXPECT_EQ(session->subscribeToTopics({{"a", 1}, {"b", 1}}).batches.size(), 2U);
    const auto third = session->subscribeToTopics({{"a", 1}, {"b", 1}, {"c", 1}});
    EXPECT_EQ(third.batches.size(), 3U);
    EXPECT_EQ(third.superseded.size(), 2U) << "of a and b, which were still waiting";
}

}  // namespace
}  // namespace xel
