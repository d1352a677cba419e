#include "XelPushClient/Classes/Broker/ConnectionDiagnostics.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// What is recorded of attempts, connections and disconnects.
class ConnectionDiagnosticsTest : public RoomsTest {
protected:
    BrokerConnection& room() { return rooms_->connection; }
    void startAttempt() {
        identify();
        room().connectToServer();
    }
    std::vector<std::string> takeTold() {
        std::vector<std::string> told;
        for (const auto& record : diagnostics_->records()) {
            told.push_back(describeDiagnostic(record));
        }
        diagnostics_->clear();
        return told;
    }
    const std::string place_ = "1 to a1b2c3." + Endpoints().kBrokerAddress + ":4443 by TLS";
};

TEST_F(ConnectionDiagnosticsTest, TellWhereAnAttemptGoesAndHowLongItTook) {
    startAttempt();
    EXPECT_THAT(takeTold(), ElementsAre("connection attempt " + place_ + " begins"));
    machine_.advanceBy(120ms);
    sessions_->latest().connected();
    EXPECT_THAT(takeTold(), ElementsAre("connection attempt " + place_ + " connected after 120 ms"));
}

TEST_F(ConnectionDiagnosticsTest, TellHowAnAttemptFailed) {
    struct Row {
        MQTTSessionEvent event;
        ConnectionAttemptOutcome outcome;
    };
    const Row table[] = {
        {MQTTSessionEvent::ConnectionRefused, ConnectionAttemptOutcome::Refused},
        {MQTTSessionEvent::ConnectionError, ConnectionAttemptOutcome::Failed},
        {MQTTSessionEvent::ProtocolError, ConnectionAttemptOutcome::Failed},
        {MQTTSessionEvent::ConnectionClosedByBroker, ConnectionAttemptOutcome::Failed},
    };
    std::uint64_t number = 0;
    for (const auto& row : table) {
        startAttempt();
        sessions_->latest().fail(row.event, makeError("Cause", 7, "the cause"));
        const auto ended = diagnostics_->recordsOf<ConnectionAttemptEnded>();
        ASSERT_EQ(ended.size(), ++number);
        EXPECT_EQ(ended.back().attempt.number, number);
        EXPECT_EQ(ended.back().outcome, row.outcome);
        EXPECT_EQ(ended.back().error, (DiagnosticError{"Cause", 7, "the cause"}));
    }
}

TEST_F(ConnectionDiagnosticsTest, TellALossApartFromAFailedAttempt) {
    auto& session = connect();
    diagnostics_->clear();
    machine_.advanceBy(2s);
    session.fail(MQTTSessionEvent::ConnectionError, makeError("Cause", 7, "the cause"));
    EXPECT_THAT(takeTold(), ElementsAre("connection " + place_ + " lost after 2000 ms: the cause"));
}

TEST_F(ConnectionDiagnosticsTest, TellTheEndOfADisconnectWhenEverythingHasLeft) {
    auto& session = connect();
    diagnostics_->clear();
    room().disconnectFromServer();
    machine_.advanceBy(30ms);
    EXPECT_THAT(takeTold(), IsEmpty());
    session.closeEnded(true);
    EXPECT_THAT(takeTold(), ElementsAre("disconnect ended after 30 ms"));
}

TEST_F(ConnectionDiagnosticsTest, TellTheEndOfADisconnectOfNothing) {
    identify();
    room().disconnectFromServer();
    EXPECT_THAT(takeTold(), IsEmpty()) << "later";
    machine_.runUntilIdle();
    EXPECT_THAT(takeTold(), ElementsAre("disconnect ended after 0 ms"));
}

TEST_F(ConnectionDiagnosticsTest, TellThatTheClientEndedAnAttempt) {
    startAttempt();
    diagnostics_->clear();
    room().disconnectFromServer();
    sessions_->latest().closeEnded(true);
    EXPECT_THAT(takeTold(), ElementsAre("connection attempt " + place_ + " closed-by-client after 0 ms",
                                        "disconnect ended after 0 ms"));
}

TEST_F(ConnectionDiagnosticsTest, TellTheEndOfADroppedSessionThatWasOpen) {
    auto& session = connect();
    const auto held = sessions_->made.back();
    diagnostics_->clear();
    rooms_->session.drop();
    session.closeEnded(true);
    EXPECT_EQ(diagnostics_->recordsOf<DisconnectEnded>().size(), 1U);
    rooms_->session.drop();
    EXPECT_EQ(diagnostics_->records().size(), 1U);
}

TEST_F(ConnectionDiagnosticsTest, TellTheEndOfOverlappingDisconnectsOnce) {
    auto& session = connect();
    const auto held = sessions_->made.back();
    diagnostics_->clear();
    rooms_->session.drop();
    machine_.advanceBy(1s);
    room().disconnectFromServer();
    machine_.runUntilIdle();
    EXPECT_THAT(takeTold(), IsEmpty()) << "the first is under way";
    machine_.advanceBy(4s);
    session.closeEnded(false);
    EXPECT_THAT(takeTold(), ElementsAre("disconnect ended after 5000 ms, not everything was sent"));
}

TEST_F(ConnectionDiagnosticsTest, TellOfOverlappingDisconnectsThatOneOfThemCouldNotSendEverything) {
    auto& session = connect();
    const auto held = sessions_->made.back();
    rooms_->session.drop();
    room().disconnectFromServer();
    diagnostics_->clear();
    session.closeEnded(false);
    EXPECT_THAT(takeTold(), IsEmpty()) << "the other one is under way";
    machine_.runUntilIdle();
    EXPECT_THAT(takeTold(), ElementsAre("disconnect ended after 0 ms, not everything was sent"));
}

TEST_F(ConnectionDiagnosticsTest, TellNoLossOfAConnectionThatTheClientHasEnded) {
    auto& session = connect();
    room().disconnectFromServer();
    diagnostics_->clear();
    room().handleEvent(MQTTSessionEvent::ConnectionError, makeError("Cause", 7, "the cause"));
    session.closeEnded(true);
    EXPECT_THAT(takeTold(), ElementsAre("disconnect ended after 0 ms"));
}

TEST_F(ConnectionDiagnosticsTest, TellNothingOnceTheClientHasEnded) {
    auto& session = connect();
    room().disconnectFromServer();
    const auto ended = session.closeEnded;
    diagnostics_->clear();
    rooms_->end();
    ended(true);
    machine_.runUntilIdle();
    EXPECT_THAT(takeTold(), IsEmpty());
}

TEST(ConnectionDiagnosticsOfNobody, AskForNoEndOfADisconnect) {
    ConnectionDiagnostics diagnostics(nullptr, nullptr);
    diagnostics.attemptWillStart("push.example", 4443, true);
    diagnostics.didConnect();
    diagnostics.didFail(MQTTSessionEvent::ConnectionError, std::nullopt);
    EXPECT_FALSE(diagnostics.willDisconnect()) << "and no clock was read: there is none";
}

}  // namespace
}  // namespace xel
