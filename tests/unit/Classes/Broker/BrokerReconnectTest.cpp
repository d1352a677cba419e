#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

const NSError kLost = makeError("MQTT", 1, "connection lost");

/// What follows a lost connection.
class BrokerReconnectTest : public RoomsTest {
protected:
    BrokerConnection& room() { return rooms_->connection; }
    void lose(const NSError& error = kLost) {
        sessions_->latest().fail(MQTTSessionEvent::ConnectionError, error);
    }
    std::size_t attempts() {
        std::size_t count = 0;
        for (const auto& session : sessions_->made) {
            for (const auto& call : session->calls) {
                count += call.starts_with("connect ") ? 1U : 0U;
            }
        }
        return count;
    }
};

TEST_F(BrokerReconnectTest, KeepsTheLastFailureWhenAnEventBringsNone) {
    auto& session = connect();
    session.fail(MQTTSessionEvent::ConnectionError, kLost);
    session.delegate->handleEvent(session, MQTTSessionEvent::ConnectionClosedByBroker, std::nullopt);
    EXPECT_EQ(rooms_->lastFailure.error(), kLost);
    EXPECT_EQ(rooms_->state.value(), PushClientServerDisconnectedErrorState);
}

TEST_F(BrokerReconnectTest, TriesAgainThreeSecondsAfterEveryKindOfError) {
    connect();
    std::size_t wanted = 1;
    for (const auto event : {MQTTSessionEvent::ConnectionRefused, MQTTSessionEvent::ConnectionError,
                             MQTTSessionEvent::ProtocolError, MQTTSessionEvent::ConnectionClosedByBroker}) {
        sessions_->latest().fail(event, kLost);
        EXPECT_EQ(rooms_->state.value(), PushClientServerDisconnectedErrorState);
        EXPECT_EQ(rooms_->lastFailure.error(), kLost);
        machine_.advanceBy(2999ms);
        EXPECT_EQ(attempts(), wanted);
        machine_.advanceBy(1ms);
        EXPECT_EQ(attempts(), ++wanted);
        EXPECT_EQ(room().reconnects().reconnectTime(), 3.0);
    }
}

TEST_F(BrokerReconnectTest, LogsTheErrorAndTheAttempt) {
    connect();
    switchLogOn();
    lose();
    EXPECT_THAT(takeLog(), ElementsAre("[-[PushClientManager handleEvent:event:error:]]: ConnectionError "
                                       "Error Domain=MQTT Code=1 \"connection lost\""));
    machine_.advanceBy(3s);
    EXPECT_THAT(takeLog(),
                ElementsAre("[-[PushClientManager reconnectToServer]]: Reconnecting... ",
                            "[-[PushClientManager connectToServer]]: Connecting to server @Connecting"));
}

TEST_F(BrokerReconnectTest, NeverRetriesARefusedIdentity) {
    const std::vector<std::pair<NSError, bool>> table = {
        {makeError("MQTT", 5, "Connection refused: not authorized"), false},
        {makeError("any domain", 5, "not authorized"), false},
        {makeError("MQTT", 5, "Not Authorized"), true},
        {makeError("MQTT", 5, "something else"), true},
        {makeError("MQTT", 4, "not authorized"), true},
    };
    connect();
    for (const auto& [error, isRetried] : table) {
        const auto timers = machine_.runLoop->scheduledTimerCount();
        sessions_->latest().fail(MQTTSessionEvent::ConnectionRefused, error);
        EXPECT_EQ(machine_.runLoop->scheduledTimerCount() > timers, isRetried) << describeError(error);
        EXPECT_EQ(rooms_->state.value(), PushClientServerDisconnectedErrorState);
    }
}

TEST_F(BrokerReconnectTest, SwallowsExactlyOneReconnectAfterAForcedClose) {
    connect();
    room().reconnects().forceNextClose();
    lose();
    EXPECT_FALSE(room().reconnects().reconnectTimer());
    EXPECT_FALSE(room().reconnects().forceClose());
    lose();
    EXPECT_TRUE(room().reconnects().reconnectTimer());
}

TEST_F(BrokerReconnectTest, KeepsAForcedCloseForTheErrorAfterARefusal) {
    connect();
    room().reconnects().forceNextClose();
    lose(makeError("MQTT", 5, "not authorized"));
    EXPECT_TRUE(room().reconnects().forceClose());
}

TEST_F(BrokerReconnectTest, LeavesEverythingWhenTheApplicationIsNotActive) {
    connect();
    for (const auto state : {UIApplicationState::Inactive, UIApplicationState::Background}) {
        lose();
        const auto timer = room().reconnects().reconnectTimer();
        machine_.application->setApplicationState(state);
        switchLogOn();
        (void)takeLog();
        machine_.advanceBy(3s);
        EXPECT_THAT(takeLog(), ElementsAre("[-[PushClientManager reconnectToServer]]: Ignore Reconnecting, "
                                           "we are not active!"));
        EXPECT_EQ(room().reconnects().reconnectTimer(), timer);
        EXPECT_EQ(room().reconnects().reconnectTime(), 3.0);
        EXPECT_EQ(attempts(), 1U);
        machine_.application->setApplicationState(UIApplicationState::Active);
    }
}

TEST_F(BrokerReconnectTest, DoublesTheTimeOnlyForAttemptsThatAreIgnored) {
    connect();
    sessions_->latest().currentStatus = MQTTSessionStatus::Connected;
    std::vector<double> times;
    for (int i = 0; i < 7; ++i) {
        sessions_->latest().delegate->handleEvent(sessions_->latest(), MQTTSessionEvent::ConnectionError,
                                                  kLost);
        machine_.advanceBy(std::chrono::seconds(static_cast<int>(room().reconnects().reconnectTime())));
        times.push_back(room().reconnects().reconnectTime());
    }
    EXPECT_THAT(times, ElementsAre(6, 12, 24, 48, 96, 96, 96));
    EXPECT_FALSE(room().reconnects().reconnectTimer());
}

TEST_F(BrokerReconnectTest, ReplacesATimerWithoutCancellingIt) {
    connect();
    lose();
    const auto first = room().reconnects().reconnectTimer();
    lose();
    EXPECT_NE(room().reconnects().reconnectTimer(), first);
    EXPECT_TRUE(first->isValid());
    EXPECT_EQ(machine_.runLoop->scheduledTimerCount(), 2U);
}

TEST_F(BrokerReconnectTest, CancelsAPendingReconnectWhenDisconnected) {
    connect();
    lose();
    room().disconnectFromServer();
    EXPECT_FALSE(room().reconnects().reconnectTimer());
    machine_.advanceBy(10s);
    EXPECT_EQ(attempts(), 1U);
}

TEST_F(BrokerReconnectTest, SchedulesNothingForASessionThatTheHostEnded) {
    connect();
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] { rooms_->session.drop(); };
    lose();
    EXPECT_FALSE(room().reconnects().reconnectTimer());
}

TEST_F(BrokerReconnectTest, LetsATimerOfADestroyedClientRunOut) {
    connect();
    lose();
    rooms_.reset();
    machine_.advanceBy(10s);
    EXPECT_EQ(attempts(), 1U);
}

}  // namespace
}  // namespace xel
