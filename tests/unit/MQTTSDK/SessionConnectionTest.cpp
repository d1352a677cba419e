// How a session's connections begin and end.

#include <chrono>
#include <new>
#include <stdexcept>

#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "tests/unit/MQTTSDK/SessionTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;

class SessionConnection : public SessionTest {};

TEST_F(SessionConnection, ConnectsToTheHostAndReportsFromTheLoop) {
    EXPECT_EQ(session->status(), MQTTSessionStatus::Created);
    session->connectToHost("broker.example", 4443, true);
    EXPECT_EQ(session->status(), MQTTSessionStatus::Connecting);
    run();
    EXPECT_EQ(connection().host(), "broker.example");
    EXPECT_EQ(connection().port(), 4443);
    EXPECT_TRUE(connection().isUsingTLS());
    connection().accept();
    run();
    EXPECT_EQ(takeWritten(), (Lines{"CONNECT shop/alice/d1 user password 180", "|"}));
    EXPECT_EQ(session->status(), MQTTSessionStatus::Connecting);
    feed(encodeConnAck(false, 0));
    EXPECT_EQ(session->status(), MQTTSessionStatus::Connected);
    EXPECT_EQ(delegate.lines, Lines{"Connected"});
    EXPECT_TRUE(delegate.errors.empty());
    EXPECT_EQ(takeWritten(), Lines{});
}

TEST_F(SessionConnection, IgnoresASecondConnectWhileConnectingOrConnected) {
    session->connectToHost("a", 1, false);
    session->connectToHost("b", 2, false);
    run();
    EXPECT_EQ(network->connections().size(), 1U);
    connection().accept();
    run();
    feed(encodeConnAck(false, 0));
    session->connectToHost("b", 2, false);
    run();
    EXPECT_EQ(network->connections().size(), 1U);
    EXPECT_EQ(delegate.lines, Lines{"Connected"});
}

TEST_F(SessionConnection, ReportsEachRefusalWithItsCode) {
    struct Refusal {
        std::uint8_t returnCode;
        std::int64_t errorCode;
        bool isUnauthorized;
    };
    constexpr Refusal kRefusals[] = {{1, 1, false}, {2, 2, false}, {3, 3, false}, {4, 5, true}, {5, 5, true}};
    for (const auto& refusal : kRefusals) {
        delegate.lines.clear();
        delegate.errors.clear();
        openStream();
        feed(encodeConnAck(false, refusal.returnCode));
        EXPECT_EQ(delegate.lines, Lines{"ConnectionRefused"});
        ASSERT_EQ(delegate.errors.size(), 1U);
        EXPECT_EQ(delegate.errors[0].domain, kMQTTErrorDomain);
        EXPECT_EQ(delegate.errors[0].code, refusal.errorCode);
        const bool saysSo =
            delegate.errors[0].localizedDescription().find("not authorized") != std::string::npos;
        EXPECT_EQ(saysSo, refusal.isUnauthorized) << delegate.errors[0].localizedDescription();
        EXPECT_EQ(session->status(), MQTTSessionStatus::Error);
        EXPECT_EQ(connection().state(), FakeConnectionState::ClosedByClient);
    }
}

TEST_F(SessionConnection, PassesTheStreamsErrorOn) {
    session->connectToHost("broker.example", 1880, false);
    run();
    connection().fail(ByteStreamErrorCode::CertificateRefused, "the certificate is expired");
    run();
    EXPECT_EQ(delegate.lines, Lines{"ConnectionError"});
    ASSERT_EQ(delegate.errors.size(), 1U);
    EXPECT_EQ(delegate.errors[0].domain, kByteStreamErrorDomain);
    EXPECT_EQ(session->status(), MQTTSessionStatus::Error);
}

TEST_F(SessionConnection, ReportsTheBrokersOrderlyEnd) {
    connect();
    connection().endByPeer();
    run();
    EXPECT_EQ(delegate.lines, (Lines{"Connected", "ConnectionClosedByBroker"}));
    ASSERT_EQ(delegate.errors.size(), 1U);
    EXPECT_EQ(delegate.errors[0].domain, kMQTTErrorDomain);
    EXPECT_EQ(session->status(), MQTTSessionStatus::Error);
}

TEST_F(SessionConnection, ConnectsAgainAfterAnErrorAlsoFromTheReport) {
    delegate.onEvent = [](MQTTSession& mine, MQTTSessionEvent event) {
        if (event == MQTTSessionEvent::ConnectionError) {
            EXPECT_EQ(mine.status(), MQTTSessionStatus::Error);
            mine.connectToHost("second.example", 1, false);
        }
    };
    connect();
    connection().fail(ByteStreamErrorCode::ConnectionLost, "reset");
    run();
    EXPECT_EQ(session->status(), MQTTSessionStatus::Connecting);
    EXPECT_EQ(connection().host(), "second.example");
    connection().accept();
    run();
    feed(encodeConnAck(true, 0));
    EXPECT_EQ(delegate.lines, (Lines{"Connected", "ConnectionError", "Connected"}));
}

TEST_F(SessionConnection, GivesUpWhenNoConnackComesInTime) {
    session->connectToHost("broker.example", 1880, false);
    loop->advanceBy(29s);
    connection().accept();
    loop->advanceBy(999ms);
    EXPECT_EQ(delegate.lines, Lines{});
    loop->advanceBy(1ms);
    EXPECT_EQ(delegate.lines, Lines{"ConnectionError"});
    EXPECT_EQ(delegate.errors.at(0).code, static_cast<std::int64_t>(MQTTErrorCode::ConnectTimedOut));
    EXPECT_EQ(connection().state(), FakeConnectionState::ClosedByClient);
    EXPECT_EQ(loop->scheduledTimerCount(), 0U);
}

TEST_F(SessionConnection, SaysWhatTheConnectionWasWaitingForWhenItsTimeIsOver) {
    session->connectToHost("broker.example", 1880, false);
    loop->advanceBy(30s);
    ASSERT_EQ(delegate.errors.size(), 1U);
    EXPECT_EQ(delegate.errors[0].localizedDescription(),
              "no connection to the broker within 30 s (broker.example does not answer)");
}

TEST_F(SessionConnection, RefusesAnIdentityThatCannotBeSentAsABrokerWouldFromTheLoop) {
    parameters.userName = "\x07";
    makeSession();
    session->connectToHost("broker.example", 1880, false);
    EXPECT_EQ(delegate.lines, Lines{});
    EXPECT_EQ(session->status(), MQTTSessionStatus::Connecting);
    run();
    EXPECT_EQ(delegate.lines, Lines{"ConnectionRefused"});
    ASSERT_EQ(delegate.errors.size(), 1U);
    EXPECT_EQ(delegate.errors[0].code, 5);
    EXPECT_THAT(delegate.errors[0].localizedDescription(),
                testing::HasSubstr("not authorized: the user name"));
    EXPECT_TRUE(network->connections().empty());
}

TEST_F(SessionConnection, ReportsClosingOnceBeforeCloseReturns) {
    connectQuietly();
    session->close();
    EXPECT_EQ(delegate.lines, Lines{"ConnectionClosed"});
    EXPECT_EQ(session->status(), MQTTSessionStatus::Closed);
    session->close();
    run();
    EXPECT_EQ(delegate.lines, Lines{"ConnectionClosed"});
    EXPECT_EQ(takeWritten(), (Lines{"DISCONNECT", "|"}));
    EXPECT_EQ(connection().state(), FakeConnectionState::ClosedByClient);
    EXPECT_EQ(loop->scheduledTimerCount(), 0U);
}

TEST_F(SessionConnection, StillWritesWhatCameBeforeTheClosing) {
    connectQuietly();
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 1);
    EXPECT_TRUE(session->publishDataAtMostOnce("x", "t", false));
    session->close();
    run();
    EXPECT_EQ(takeWritten(), (Lines{"UNSUBSCRIBE #1 a", "PUBLISH t x q0", "DISCONNECT", "|"}));
}

TEST_F(SessionConnection, WritesNothingBehindDisconnect) {
    connectQuietly();
    delegate.acknowledgesAtOnce = false;
    feed(publications(1, 2));
    session->close();
    delegate.acknowledges.at(0)();
    EXPECT_TRUE(session->publishDataAtLeastOnce("x", "t", false));
    EXPECT_TRUE(session->publishDataAtMostOnce("x", "t", false));
    EXPECT_EQ(idOf(session->subscribeToTopic("a", 1)), 0);
    EXPECT_EQ(idOf(session->unsubscribeTopic("a")), 0);
    loop->advanceBy(1000s);
    EXPECT_EQ(takeWritten(), (Lines{"DISCONNECT", "|"}));
}

TEST_F(SessionConnection, TellsWhenAClosingHasEndedAlsoWhenItIsDropped) {
    std::vector<bool> ends;
    const auto ended = [&](bool everythingWasSent) { ends.push_back(everythingWasSent); };
    connectQuietly();
    session->close(ended);
    session.reset();
    EXPECT_TRUE(ends.empty()) << "never inside the call";
    run();
    EXPECT_EQ(ends, std::vector<bool>{true});
    EXPECT_EQ(takeWritten(), (Lines{"DISCONNECT", "|"}));
}

TEST_F(SessionConnection, TellsTheEndOfTheClosingOfAnAttemptAndOfNothing) {
    int ends = 0;
    const auto ended = [&](bool everythingWasSent) { ends += everythingWasSent ? 1 : 100; };
    session->close(ended);
    EXPECT_EQ(ends, 0);
    run();
    EXPECT_EQ(ends, 1);
    session->connectToHost("broker.example", 1880, false);
    session->close(ended);
    run();
    EXPECT_EQ(ends, 2);
}

TEST_F(SessionConnection, ReportsTheClosingOfAnAttempt) {
    session->connectToHost("broker.example", 1880, false);
    session->close();
    EXPECT_EQ(delegate.lines, Lines{"ConnectionClosed"});
    run();
    loop->advanceBy(60s);
    EXPECT_EQ(delegate.lines, Lines{"ConnectionClosed"});
}

TEST_F(SessionConnection, ReportsNoClosingWithoutAConnection) {
    session->close();
    EXPECT_EQ(delegate.lines, Lines{});
    EXPECT_EQ(session->status(), MQTTSessionStatus::Created);
    connect();
    connection().fail(ByteStreamErrorCode::ConnectionLost, "reset");
    run();
    delegate.lines.clear();
    session->close();
    session.reset();
    EXPECT_EQ(delegate.lines, Lines{});
}

TEST_F(SessionConnection, ReportsClosingWhenItIsDropped) {
    connectQuietly();
    session.reset();
    EXPECT_EQ(delegate.lines, Lines{"ConnectionClosed"});
    run();
    EXPECT_EQ(takeWritten(), (Lines{"DISCONNECT", "|"}));
}

TEST_F(SessionConnection, ConnectsAgainFromTheReportOfItsClosing) {
    connectQuietly();
    delegate.onEvent = [](MQTTSession& mine, MQTTSessionEvent) {
        mine.connectToHost("second.example", 1, false);
    };
    session->close();
    EXPECT_EQ(session->status(), MQTTSessionStatus::Connecting);
    run();
    EXPECT_EQ(connection().host(), "second.example");
    session.reset();
    EXPECT_EQ(network->connections().size(), 2U) << "a session that is being dropped does not connect";
}

TEST_F(SessionConnection, ThrowsFromTheLoopWhatIsThrownWhileItIsDropped) {
    connectQuietly();
    delegate.onEvent = [](MQTTSession&, MQTTSessionEvent) { throw std::runtime_error("the owner's"); };
    session.reset();
    EXPECT_EQ(delegate.lines, Lines{"ConnectionClosed"});
    EXPECT_THROW(run(), std::runtime_error);
}

TEST_F(SessionConnection, HasNoAttemptUnderWayThatThereWasNoMemoryFor) {
    streams->hasMemory = false;
    EXPECT_THROW(session->connectToHost("broker.example", 1880, false), std::bad_alloc);
    EXPECT_EQ(session->status(), MQTTSessionStatus::Created);
    loop->advanceBy(std::chrono::minutes(5));
    EXPECT_EQ(delegate.lines, Lines{});
    streams->hasMemory = true;
    connect();
    EXPECT_EQ(delegate.lines, Lines{"Connected"});
}

TEST_F(SessionConnection, MayBeDroppedInAnyReport) {
    delegate.onEvent = [this](MQTTSession&, MQTTSessionEvent event) {
        if (event != MQTTSessionEvent::ConnectionClosed) {
            session.reset();
        }
    };
    connect();
    EXPECT_EQ(delegate.takeLines(), (Lines{"Connected", "ConnectionClosed"}));

    makeSession();
    openStream();
    feed(encodeConnAck(false, 5));
    EXPECT_EQ(delegate.takeLines(), Lines{"ConnectionRefused"});

    makeSession();
    openStream();
    connection().endByPeer();
    run();
    EXPECT_EQ(delegate.takeLines(), Lines{"ConnectionClosedByBroker"});

    makeSession();
    openStream();
    connection().fail(ByteStreamErrorCode::ConnectionLost, "reset");
    run();
    EXPECT_EQ(delegate.takeLines(), Lines{"ConnectionError"});

    makeSession();
    openStream();
    loop->advanceBy(30s);
    EXPECT_EQ(delegate.takeLines(), Lines{"ConnectionError"});

    makeSession();
    openStream();
    feed(publication(1));
    EXPECT_EQ(delegate.takeLines(), Lines{"ProtocolError"});
}

TEST_F(SessionConnection, ClosesOnEveryBreachWithoutDeliveringOrAcknowledging) {
    const std::string breaches[] = {
        encodeConnAck(true, 0),                                               // a second one
        encodePublish("t", "x", 2, false, false, 1),                          // QoS 2
        encodePublish("t/#", "x", 1, false, false, 1),                        // a wildcard
        encodePublish("t", "x", 1, false, false, 0),                          // packet identifier 0
        encodePublish("\xFF", "x", 1, false, false, 1),                       // not UTF-8
        encodePublish("t", std::string(2'000'000, 'x'), 1, false, false, 1),  // oversized
        encodeUnsubAck(77),                                                   // never asked
        suback(77, {1}),
        encodePingResp(),
        std::string("\x30\xFF\xFF\xFF\xFF\x01", 6),
        std::string("\xC0\x00", 2),
    };
    for (const std::string& breach : breaches) {
        connectQuietly();
        delegate.errors.clear();
        connection().feed(breach + publication(2));
        run();
        EXPECT_EQ(delegate.lines, Lines{"ProtocolError"});
        ASSERT_EQ(delegate.errors.size(), 1U);
        EXPECT_EQ(delegate.errors[0].code, static_cast<std::int64_t>(MQTTErrorCode::ProtocolViolation));
        EXPECT_EQ(session->status(), MQTTSessionStatus::Error);
        EXPECT_EQ(connection().state(), FakeConnectionState::ClosedByClient);
        EXPECT_EQ(takeWritten(), Lines{});
    }
}

TEST_F(SessionConnection, DeliversAndAcknowledgesWhatCameBeforeABreach) {
    connectQuietly();
    feed(publications(1, 2) + std::string("\x36\x05\x00\x01t\x00\x03", 7) + publication(4));
    EXPECT_EQ(delegate.lines, joined(turn(1, 2), Lines{"ProtocolError"}));
    EXPECT_EQ(takeWritten(), acknowledgements(1, 2));
}

TEST_F(SessionConnection, DeliversNothingOfAPacketThatTheEndCutsOff) {
    connectQuietly();
    feed(publication(1).substr(0, 6));
    connection().endByPeer();
    run();
    EXPECT_EQ(delegate.lines, Lines{"ConnectionClosedByBroker"});
}

TEST_F(SessionConnection, GoesOnAfterAReportThatThrew) {
    delegate.onEvent = [](MQTTSession&, MQTTSessionEvent) { throw std::runtime_error("the owner's"); };
    openStream();
    connection().feed(encodeConnAck(false, 0) + publication(1));
    EXPECT_THROW(run(), std::runtime_error);
    delegate.onEvent = nullptr;
    run();
    EXPECT_EQ(delegate.lines, joined(Lines{"Connected"}, turn(1, 1)));
}

TEST_F(SessionConnection, PingsOnceNothingWasWrittenForTheKeepAlive) {
    connectQuietly();
    loop->advanceBy(100s);
    EXPECT_TRUE(session->publishDataAtMostOnce("x", "t", false));
    loop->advanceBy(179s);
    EXPECT_EQ(takeWritten(), (Lines{"PUBLISH t x q0", "|"}));
    loop->advanceBy(1s);
    EXPECT_EQ(takeWritten(), (Lines{"PINGREQ", "|"}));
    feed(encodePingResp());
    loop->advanceBy(179s);
    EXPECT_EQ(takeWritten(), Lines{});
    loop->advanceBy(1s);
    EXPECT_EQ(takeWritten(), (Lines{"PINGREQ", "|"}));
    EXPECT_EQ(delegate.lines, Lines{});
}

TEST_F(SessionConnection, IsLostWhenAPingIsNotAnswered) {
    connectQuietly();
    loop->advanceBy(180s + 19'999ms);
    EXPECT_EQ(delegate.lines, Lines{});
    loop->advanceBy(1ms);
    EXPECT_EQ(delegate.lines, Lines{"ConnectionError"});
    EXPECT_EQ(delegate.errors.at(0).code, static_cast<std::int64_t>(MQTTErrorCode::PingTimedOut));
    EXPECT_EQ(connection().state(), FakeConnectionState::ClosedByClient);
}

TEST_F(SessionConnection, MissesNoPingAnswerWhileATurnIsOpen) {
    connectQuietly();
    delegate.acknowledgesAtOnce = false;
    loop->advanceBy(170s);
    feed(publication(1));
    loop->advanceBy(10s);
    EXPECT_EQ(takeWritten(), (Lines{"PINGREQ", "|"}));
    feed(encodePingResp());
    loop->advanceBy(60s);
    EXPECT_EQ(delegate.takeLines(), turn(1, 1));
    delegate.acknowledges.at(0)();
    loop->advanceBy(60s);
    EXPECT_EQ(delegate.lines, Lines{});
    EXPECT_EQ(session->status(), MQTTSessionStatus::Connected);
}

TEST_F(SessionConnection, SchedulesNoTimerForAPacket) {
    connectQuietly();
    const auto deadline = loop->nextTimerDeadline();
    for (int i = 1; i <= 20; ++i) {
        feed(publication(i));
        EXPECT_TRUE(session->publishDataAtMostOnce("x", "t", false));
        run();
    }
    EXPECT_EQ(loop->nextTimerDeadline(), deadline);
    EXPECT_EQ(loop->scheduledTimerCount(), 1U);
}

}  // namespace
}  // namespace xel
