// How publications are delivered and acknowledged, turn by turn.

#include <new>
#include <stdexcept>
#include <thread>

#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "tests/unit/MQTTSDK/SessionTest.h"

namespace xel {
namespace {

class SessionTurn : public SessionTest {};

TEST_F(SessionTurn, DeliversARead) {
    connectQuietly();
    feed(encodePublish("a/b", "one", 1, true, false, 9) + encodePublish("c", "", 0, false, false, 0));
    EXPECT_EQ(delegate.lines, (Lines{"will", "a/b one q1r #9", "c  q0 #0", "did"}));
    EXPECT_EQ(takeWritten(), acknowledgements(9, 9));
}

TEST_F(SessionTurn, AcknowledgesATurnInOneWriteOnlyWhenTheOwnerSaysSo) {
    connectQuietly();
    delegate.acknowledgesAtOnce = false;
    feed(publications(1, 5));
    EXPECT_EQ(delegate.lines, turn(1, 5));
    EXPECT_EQ(takeWritten(), Lines{});
    ASSERT_EQ(delegate.acknowledges.size(), 1U);
    const auto writes = streams->count;
    delegate.acknowledges[0]();
    delegate.acknowledges[0]();
    run();
    EXPECT_EQ(takeWritten(), acknowledgements(1, 5)) << "and once";
    EXPECT_EQ(streams->count, writes + 1);
}

TEST_F(SessionTurn, HasAtMost24Publications) {
    connectQuietly();
    feed(publications(1, 50));
    EXPECT_EQ(delegate.lines, joined(turn(1, 24), turn(25, 48), turn(49, 50)));
    EXPECT_EQ(takeWritten(),
              joined(acknowledgements(1, 24), acknowledgements(25, 48), acknowledgements(49, 50)));
}

TEST_F(SessionTurn, CountsPublicationsOfQoS0Too) {
    connectQuietly();
    std::string octets;
    for (int i = 1; i <= 25; ++i) {
        octets += publication(i, 0);
    }
    feed(octets);
    EXPECT_EQ(delegate.lines.size(), 25U + 4U);
    EXPECT_EQ(delegate.lines[25], "did");
    EXPECT_EQ(takeWritten(), Lines{}) << "there is nothing to acknowledge";
}

TEST_F(SessionTurn, DeliversNothingMoreUntilTheOneBeforeIsAcknowledged) {
    connectQuietly();
    delegate.acknowledgesAtOnce = false;
    feed(publications(1, 30));
    feed(publications(31, 32));
    EXPECT_EQ(delegate.takeLines(), turn(1, 24));
    EXPECT_GT(connection().unreceivedCount(), 0U) << "the next read waits as well";
    delegate.acknowledges[0]();
    EXPECT_EQ(delegate.lines, Lines{}) << "never from inside a call of the owner";
    run();
    EXPECT_EQ(delegate.takeLines(), turn(25, 30));
    delegate.acknowledges[1]();
    run();
    EXPECT_EQ(delegate.takeLines(), turn(31, 32));
}

TEST_F(SessionTurn, ClosesBehindEverythingThatItPosted) {
    connectQuietly();
    delegate.onMessage = [this](MQTTSession&, std::string_view data) {
        loop->post([this, text = "posted by " + std::string(data)] { delegate.lines.push_back(text); });
    };
    feed(publications(1, 2));
    EXPECT_EQ(delegate.lines,
              (Lines{"will", "t m1 q1 #1", "t m2 q1 #2", "posted by m1", "posted by m2", "did"}));
}

TEST_F(SessionTurn, ClosesByWayOfTheMainLoopWhereThatIsAnother) {
    FakeRunLoop mainLoop;
    makeSession(&mainLoop);
    connectQuietly();
    delegate.onMessage = [&](MQTTSession&, std::string_view) {
        mainLoop.post([this] { delegate.lines.emplace_back("notification"); });
    };
    feed(publication(1));
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "t m1 q1 #1"}));
    mainLoop.runUntilIdle();
    EXPECT_EQ(delegate.takeLines(), Lines{"notification"});
    EXPECT_EQ(takeWritten(), Lines{});
    run();
    EXPECT_EQ(delegate.takeLines(), Lines{"did"});
    EXPECT_EQ(takeWritten(), acknowledgements(1, 1));

    feed(publication(2));
    session.reset();
    mainLoop.runUntilIdle();
    run();
    EXPECT_EQ(delegate.lines, (Lines{"will", "t m2 q1 #2", "ConnectionClosed", "notification"}))
        << "a dropped session closes no turn";
}

TEST_F(SessionTurn, ClosesFromAMainLoopOnAnotherThreadWhileItIsDropped) {
    for (int round = 0; round < 50; ++round) {
        FakeRunLoop mainLoop;
        makeSession(&mainLoop);
        connectQuietly();
        feed(publication(1));
        std::thread mainThread([&] { mainLoop.runUntilIdle(); });
        session.reset();
        mainThread.join();
        run();
        EXPECT_EQ(delegate.lines, (Lines{"will", "t m1 q1 #1", "ConnectionClosed"}));
    }
}

TEST_F(SessionTurn, IsTheSameOctetByOctet) {
    openStream();
    connection().setMostOctetsPerRead(1);
    feed(encodeConnAck(true, 0));
    delegate.lines.clear();
    static_cast<void>(takeWritten());
    feed(publications(1, 3));
    EXPECT_EQ(delegate.lines, joined(turn(1, 1), turn(2, 2), turn(3, 3)));
    EXPECT_EQ(takeWritten(), joined(acknowledgements(1, 1), acknowledgements(2, 2), acknowledgements(3, 3)));
}

TEST_F(SessionTurn, JoinsAPacketThatSeveralReadsBring) {
    connectQuietly();
    connection().setMostOctetsPerRead(1000);
    const std::string data(3500, 'd');
    feed(publication(1) + encodePublish("big", data, 1, false, false, 2) + publication(3));
    EXPECT_EQ(delegate.lines,
              joined(turn(1, 1), Lines{"will", "big " + data + " q1 #2", "t m3 q1 #3", "did"}));
}

TEST_F(SessionTurn, JoinsSmallPacketsBehindOneThatNeededAGreatBuffer) {
    connectQuietly();
    connection().setMostOctetsPerRead(100'000);
    const std::string data(350'000, 'd');
    feed(encodePublish("big", data, 1, false, false, 1));
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "big " + data + " q1 #1", "did"}));
    connection().setMostOctetsPerRead(5);
    feed(publications(2, 3));
    EXPECT_EQ(delegate.lines, joined(turn(2, 2), turn(3, 3)));
}

TEST_F(SessionTurn, EndsAtOnceWhenTheOwnerCloses) {
    connectQuietly();
    delegate.onMessage = [](MQTTSession& mine, std::string_view data) {
        if (data == "m2") {
            mine.close();
        }
    };
    feed(publications(1, 4));
    EXPECT_EQ(delegate.lines, (Lines{"will", "t m1 q1 #1", "t m2 q1 #2", "ConnectionClosed", "did"}));
    EXPECT_EQ(takeWritten(), (Lines{"DISCONNECT", "|"})) << "nothing of it is acknowledged";
    EXPECT_EQ(delegate.lastDataAfterHook, "m2");
}

TEST_F(SessionTurn, EndsAtOnceWhenTheOwnerDropsTheSession) {
    connectQuietly();
    delegate.onMessage = [this](MQTTSession&, std::string_view) { session.reset(); };
    feed(publications(1, 4));
    EXPECT_EQ(delegate.lines, (Lines{"will", "t m1 q1 #1", "ConnectionClosed"}));
    EXPECT_EQ(takeWritten(), (Lines{"DISCONNECT", "|"}));
    EXPECT_EQ(delegate.lastDataAfterHook, "m1");
}

TEST_F(SessionTurn, EndsAtOnceWhenTheOwnerConnectsAnew) {
    connectQuietly();
    delegate.onMessage = [](MQTTSession& mine, std::string_view data) {
        if (data == "m1") {
            mine.close();
            mine.connectToHost("second.example", 1, false);
        }
    };
    feed(publications(1, 4));
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "t m1 q1 #1", "ConnectionClosed", "did"}));
    connection().accept();
    run();
    feed(encodeConnAck(true, 0) + publication(8));
    EXPECT_EQ(delegate.lines, joined(Lines{"Connected"}, turn(8, 8)));
    EXPECT_EQ(takeWritten(),
              joined(Lines{"CONNECT shop/alice/d1 user password 180", "|"}, acknowledgements(8, 8)));
}

TEST_F(SessionTurn, MayBeClosedOrDroppedBeforeItsFirstPublication) {
    connectQuietly();
    delegate.onWillDeliver = [](MQTTSession& mine) { mine.close(); };
    feed(publication(1));
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "ConnectionClosed", "did"}));
    connectQuietly();
    delegate.onWillDeliver = [this](MQTTSession&) { session.reset(); };
    feed(publication(1));
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "ConnectionClosed"}));
}

TEST_F(SessionTurn, MayBeClosedOrDroppedWhileItCloses) {
    connectQuietly();
    delegate.onDidDeliver = [](MQTTSession& mine) { mine.close(); };
    feed(publications(1, 30));
    EXPECT_EQ(delegate.takeLines(), joined(turn(1, 24), Lines{"ConnectionClosed"}));
    connectQuietly();
    delegate.onDidDeliver = [this](MQTTSession&) { session.reset(); };
    feed(publications(1, 30));
    EXPECT_EQ(delegate.takeLines(), joined(turn(1, 24), Lines{"ConnectionClosed"}));
}

TEST_F(SessionTurn, IsStillClosedButNotAcknowledgedAfterALoss) {
    connectQuietly();
    delegate.acknowledgesAtOnce = false;
    delegate.onMessage = [this](MQTTSession&, std::string_view) {
        connection().fail(ByteStreamErrorCode::ConnectionLost, "reset");
    };
    feed(publication(1));
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "t m1 q1 #1", "ConnectionError", "did"}));
    delegate.acknowledges.at(0)();
    delegate.onMessage = nullptr;
    connectQuietly();
    delegate.acknowledges.at(0)();
    run();
    EXPECT_EQ(takeWritten(), Lines{});
}

TEST_F(SessionTurn, IgnoresALateAcknowledgeOfALostConnection) {
    connectQuietly();
    delegate.acknowledgesAtOnce = false;
    feed(publication(1));
    connection().fail(ByteStreamErrorCode::ConnectionLost, "reset");
    run();
    connectQuietly();
    feed(publication(1));
    delegate.acknowledges.at(0)();
    run();
    EXPECT_EQ(takeWritten(), Lines{}) << "it is the other turn that was stored";
    delegate.acknowledges.at(1)();
    run();
    EXPECT_EQ(takeWritten(), acknowledgements(1, 1));
    const auto late = delegate.acknowledges;
    session.reset();
    late[1]();
}

TEST_F(SessionTurn, ClosesAsAlwaysWhenTheOwnerThrows) {
    connectQuietly();
    delegate.onMessage = [](MQTTSession&, std::string_view data) {
        if (data == "m2") {
            throw std::runtime_error("the owner's");
        }
    };
    connection().feed(publications(1, 4));
    EXPECT_THROW(run(), std::runtime_error);
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "t m1 q1 #1", "t m2 q1 #2"}));
    run();
    EXPECT_EQ(delegate.lines, joined(Lines{"did"}, turn(3, 4)));
    EXPECT_EQ(takeWritten(), joined(acknowledgements(1, 2), acknowledgements(3, 4)));
}

TEST_F(SessionTurn, AcknowledgesNothingThatWasNotTaken) {
    connectQuietly();
    delegate.onMessage = [](MQTTSession&, std::string_view data) {
        if (data == "m2") {
            throw MQTTPublicationNotTaken();
        }
    };
    connection().feed(publications(1, 3));
    EXPECT_THROW(run(), MQTTPublicationNotTaken);
    run();
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "t m1 q1 #1", "t m2 q1 #2", "ConnectionError", "did"}));
    EXPECT_TRUE(isMQTTError(delegate.errors.back(), MQTTErrorCode::NoMemory));
    EXPECT_EQ(takeWritten(), Lines{});

    delegate.onMessage = nullptr;
    connectQuietly();
    feed(encodePublish("t", "m1", 1, false, true, 1) + encodePublish("t", "m2", 1, false, true, 2));
    EXPECT_EQ(delegate.lines, (Lines{"will", "t m1 q1 #1 again", "t m2 q1 #2", "did"}))
        << "the owner has had the first alone";
    EXPECT_EQ(takeWritten(), acknowledgements(1, 2));
}

TEST_F(SessionTurn, EndsTheConnectionWhenThereIsNoMemoryToCloseIt) {
    connectQuietly();
    delegate.onDidDeliver = [](MQTTSession&) { throw std::bad_alloc(); };
    delegate.acknowledgesAtOnce = false;
    connection().feed(publications(1, 1));
    EXPECT_THROW(run(), std::bad_alloc);
    EXPECT_EQ(delegate.lines, joined(turn(1, 1), Lines{"ConnectionError"}));
    EXPECT_EQ(takeWritten(), Lines{});
}

TEST_F(SessionTurn, DeliversLaterWhatItsBeginningThrewAwayFrom) {
    connectQuietly();
    delegate.onWillDeliver = [](MQTTSession&) { throw std::runtime_error("the owner's"); };
    connection().feed(publications(1, 2));
    EXPECT_THROW(run(), std::runtime_error);
    delegate.onWillDeliver = nullptr;
    run();
    EXPECT_EQ(delegate.lines, joined(Lines{"will", "did"}, turn(1, 2)));
    EXPECT_EQ(takeWritten(), acknowledgements(1, 2));
}

TEST_F(SessionTurn, GoesOnAfterItsClosingThrew) {
    connectQuietly();
    delegate.onDidDeliver = [](MQTTSession&) { throw std::runtime_error("the owner's"); };
    connection().feed(publications(1, 26));
    EXPECT_THROW(run(), std::runtime_error);
    delegate.onDidDeliver = nullptr;
    run();
    EXPECT_EQ(delegate.lines, joined(turn(1, 24), turn(25, 26)));
    EXPECT_EQ(takeWritten(), joined(acknowledgements(1, 24), acknowledgements(25, 26)));
}

TEST_F(SessionTurn, ClosesWhenTheOwnerClosesAndThrows) {
    connectQuietly();
    delegate.onMessage = [](MQTTSession& mine, std::string_view) {
        mine.close();
        throw std::runtime_error("the owner's");
    };
    connection().feed(publications(1, 4));
    EXPECT_THROW(run(), std::runtime_error);
    run();
    EXPECT_EQ(delegate.lines, (Lines{"will", "t m1 q1 #1", "ConnectionClosed", "did"}));
}

TEST_F(SessionTurn, WaitsForADelegate) {
    connectQuietly();
    session->setDelegate(nullptr);
    feed(publications(1, 2));
    EXPECT_EQ(delegate.lines, Lines{});
    session->setDelegate(&delegate);
    run();
    EXPECT_EQ(delegate.lines, turn(1, 2));
    EXPECT_EQ(takeWritten(), acknowledgements(1, 2));
}

TEST_F(SessionTurn, WaitsForTheNextDelegateWhenItsOwnLeavesInTheMiddle) {
    connectQuietly();
    delegate.onMessage = [](MQTTSession& mine, std::string_view) { mine.setDelegate(nullptr); };
    feed(publications(1, 3));
    EXPECT_EQ(delegate.takeLines(), (Lines{"will", "t m1 q1 #1"}));
    EXPECT_EQ(takeWritten(), Lines{}) << "nobody stored it";
    delegate.onMessage = nullptr;
    session->setDelegate(&delegate);
    run();
    EXPECT_EQ(delegate.lines, joined(Lines{"did"}, turn(2, 3)));
    EXPECT_EQ(takeWritten(), joined(acknowledgements(1, 1), acknowledgements(2, 3)));
}

TEST_F(SessionTurn, KeepsOtherPacketsInTheirPlace) {
    connectQuietly();
    EXPECT_EQ(idOf(session->subscribeToTopic("s", 1)), 1);
    run();
    feed(publication(1) + suback(1, {1}) + publication(2));
    EXPECT_EQ(delegate.lines, (Lines{"will", "t m1 q1 #1", "suback #1 1", "t m2 q1 #2", "did"}));
}

TEST_F(SessionTurn, WritesWhatTheOwnerSendsInItAtItsEnd) {
    connectQuietly();
    delegate.onMessage = [](MQTTSession& mine, std::string_view data) {
        EXPECT_TRUE(mine.publishDataAtMostOnce(data, "echo", false));
    };
    feed(publications(1, 2));
    EXPECT_EQ(takeWritten(),
              joined(Lines{"PUBLISH echo m1 q0", "PUBLISH echo m2 q0", "|"}, acknowledgements(1, 2)));
}

}  // namespace
}  // namespace xel
