#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The guards of connecting, and what events mean.
class BrokerConnectionTest : public RoomsTest {
protected:
    BrokerConnection& room() { return rooms_->connection; }
    std::string state() { return std::string(connectionStateString(rooms_->state.value())); }
};

TEST_F(BrokerConnectionTest, ConnectsToTheEnvironmentsBroker) {
    identify();
    switchLogOn();
    room().connectToServer();
    EXPECT_THAT(sessions_->latest().calls,
                ElementsAre("connect a1b2c3." + Endpoints().kBrokerAddress + ":4443 TLS"));
    EXPECT_THAT(takeLog(),
                ElementsAre("Creating broker session",
                            "[-[PushClientManager connectToServer]]: Connecting to server @Connecting"));
    EXPECT_EQ(room().reconnects().reconnectTime(), 3.0);
}

TEST_F(BrokerConnectionTest, ConnectsPlainlyAndToTheSandboxWhenTold) {
    identify();
    setDevelopmentEnvironment(true);
    rooms_->settings.setUsingSSLConnection(false);
    room().connectToServer();
    EXPECT_THAT(sessions_->latest().calls, ElementsAre("connect localhost:1880 plain"));
}

TEST_F(BrokerConnectionTest, IgnoresAConnectWhileOneIsUnderWay) {
    identify();
    room().connectToServer();
    switchLogOn();
    room().connectToServer();
    EXPECT_THAT(
        takeLog(),
        ElementsAre("[-[PushClientManager connectToServer]]: Ignore connecting to server Connecting"));
    sessions_->latest().connected();
    (void)takeLog();
    room().connectToServer();
    EXPECT_THAT(takeLog(),
                ElementsAre("[-[PushClientManager connectToServer]]: Ignore connecting to server Connected"));
    EXPECT_EQ(firstOf(sessions_->latest().calls).substr(0, 7), "connect");
}

TEST_F(BrokerConnectionTest, IgnoresAConnectByTheSessionsStatusToo) {
    identify();
    rooms_->session.createSession();
    for (const auto status : {MQTTSessionStatus::Connecting, MQTTSessionStatus::Connected}) {
        sessions_->latest().currentStatus = status;
        room().connectToServer();
        EXPECT_EQ(state(), "Disconnected");
    }
    EXPECT_THAT(sessions_->latest().calls, IsEmpty());
}

TEST_F(BrokerConnectionTest, LeavesTheStateAloneWithoutAClientId) {
    registerApplication();
    switchLogOn();
    room().connectToServer();
    EXPECT_THAT(takeLog(),
                ElementsAre("[-[PushClientManager connectToServer]]: ClientId cannot be initialized"));
    EXPECT_EQ(state(), "Disconnected");
    EXPECT_FALSE(rooms_->lastFailure.error());
}

TEST_F(BrokerConnectionTest, ReportsARegistrationFailureWithoutASession) {
    identify();
    changeApplication([](auto& application) { application.password = " "; });
    addDelegate();
    switchLogOn();
    room().connectToServer();
    EXPECT_EQ(state(), "Connecting") << "later connects are ignored";
    ASSERT_TRUE(rooms_->lastFailure.error());
    const NSError& error = *rooms_->lastFailure.error();
    EXPECT_EQ(error.domain, "PushClientErrorDomain");
    EXPECT_EQ(error.code, -1);
    EXPECT_EQ(error.localizedDescription(),
              "Username is nil, username = alice01\npassword is nil, password =  \n");
    EXPECT_EQ(error.localizedRecoverySuggestion(), "Please Register Again");
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: ConnectionState", "delegate: FailRegisterUser -1"));
    const auto log = takeLog();
    ASSERT_GE(log.size(), 2U);
    EXPECT_EQ(log[1], "[-[PushClientManager connectToServer]]: No Session, don't connectToServer " +
                          describeError(error));
    room().connectToServer();
    EXPECT_THAT(lastOf(takeLog()), testing::HasSubstr("Ignore connecting to server Connecting"));
}

TEST_F(BrokerConnectionTest, NamesOnlyABlankUserIdAndAnyUserName) {
    identify();
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] { rooms_->settings.setUserId("  "); };
    room().connectToServer();
    EXPECT_EQ(rooms_->lastFailure.error()->localizedDescription(),
              "UserId is nil, userId =   \nUsername is nil, username =   \n");
}

TEST_F(BrokerConnectionTest, NamesNothingThatIsMissing) {
    identify();
    changeApplication([](auto& application) {
        application.username.reset();
        application.password.reset();
    });
    room().connectToServer();
    EXPECT_EQ(rooms_->lastFailure.error()->localizedDescription(), "");
}

TEST_F(BrokerConnectionTest, SaysThatTheFactoryMadeNoSession) {
    sessions_->isOutOfOrder = true;
    identify();
    addDelegate();
    room().connectToServer();
    EXPECT_THAT(rooms_->lastFailure.error()->localizedDescription(),
                testing::HasSubstr("session factory answered no session"));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: ConnectionState", "delegate: FailRegisterUser -1"));
    EXPECT_FALSE(rooms_->session.current());
}

TEST_F(BrokerConnectionTest, FollowsTheSessionsEvents) {
    identify();
    room().connectToServer();
    auto& session = sessions_->latest();
    session.connected();
    EXPECT_EQ(state(), "Connected");
    switchLogOn();
    session.close();
    EXPECT_EQ(state(), "Disconnected");
    EXPECT_THAT(takeLog(), ElementsAre("[-[PushClientManager handleEvent:event:error:]]: ConnectionClosed"));
    EXPECT_FALSE(room().reconnects().reconnectTimer());
    EXPECT_TRUE(rooms_->session.current()) << "it is kept";
}

TEST_F(BrokerConnectionTest, DisconnectsWithoutASessionToo) {
    switchLogOn();
    room().disconnectFromServer();
    EXPECT_THAT(takeLog(),
                ElementsAre("[-[PushClientManager disconnectFromServer]]: Disconnect Request... "));
}

TEST_F(BrokerConnectionTest, MakesNoAttemptWhenTheHostEndsTheIdentityMeanwhile) {
    identify();
    addDelegate();
    bool isFirst = true;
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] {
        if (std::exchange(isFirst, false)) {
            rooms_->coordinator.reset();
        }
    };
    room().connectToServer();
    EXPECT_EQ(state(), "Disconnected") << "a state of Connecting would stop every later connect";
    EXPECT_THAT(sessions_->made, IsEmpty());
    identify();
    room().connectToServer();
    EXPECT_EQ(sessions_->made.size(), 1U);
}

TEST_F(BrokerConnectionTest, IgnoresAConnectInsideTheReportOfADrop) {
    connect();
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] { room().connectToServer(); };
    rooms_->session.drop();
    EXPECT_FALSE(rooms_->session.current());
    EXPECT_EQ(state(), "Disconnected");
    EXPECT_THAT(lastOf(sessions_->latest().calls), "close");
    room().connectToServer();
    EXPECT_TRUE(lastOf(sessions_->latest().calls).starts_with("connect"));
}

TEST_F(BrokerConnectionTest, GoesOnWhenTheHostThrowsInAStateReport) {
    identify();
    rooms_->fanout.blocks.serverConnectionStateHandler = [] { throw std::runtime_error("host"); };
    EXPECT_THROW(room().connectToServer(), std::runtime_error);
    ASSERT_EQ(sessions_->made.size(), 1U);
    auto& session = sessions_->latest();
    EXPECT_EQ(session.calls.size(), 1U) << "the attempt was made";
    EXPECT_THROW(session.connected(), std::runtime_error);
    EXPECT_TRUE(lastOf(session.calls).starts_with("subscribe")) << "the topics were asked for";
    EXPECT_THROW(session.fail(MQTTSessionEvent::ConnectionError, makeError("MQTT", 1, "lost")),
                 std::runtime_error);
    EXPECT_TRUE(room().reconnects().reconnectTimer()) << "the next attempt was scheduled";
}

}  // namespace
}  // namespace xel
