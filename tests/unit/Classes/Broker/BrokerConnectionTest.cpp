#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The session's making, the guards of connecting, and what events mean.
class BrokerConnectionTest : public RoomsTest {
protected:
    BrokerConnection& room() { return rooms_->connection; }
    std::string state() { return std::string(connectionStateString(room().connectionState())); }
};

TEST_F(BrokerConnectionTest, BuildsTheClientIdFromACompleteIdentity) {
    identify();
    EXPECT_EQ(room().setClientId(), "a1b2c3/alice01/D3V1CE");
    EXPECT_EQ(room().brokerClientId(), std::nullopt) << "it stores nothing";
    rooms_->settings.setDeviceId(" ");
    EXPECT_FALSE(room().setClientId());
    rooms_->settings.setDeviceId("D3V1CE");
    rooms_->settings.setUserId("\n");
    EXPECT_FALSE(room().setClientId());
    rooms_->settings.setUserId("alice01");
    changeApplication([](auto& application) { application.appId.reset(); });
    EXPECT_FALSE(room().setClientId());
}

TEST_F(BrokerConnectionTest, MakesOneSessionAndKeepsIt) {
    identify();
    switchLogOn();
    const auto session = room().createSession();
    ASSERT_TRUE(session);
    EXPECT_THAT(takeLog(), ElementsAre("Creating broker session"));
    EXPECT_EQ(room().brokerClientId(), "a1b2c3/alice01/D3V1CE");
    const auto& parameters = sessions_->latest().parameters;
    EXPECT_EQ(parameters.clientId, "a1b2c3/alice01/D3V1CE");
    EXPECT_EQ(parameters.userName, "broker-user");
    EXPECT_EQ(parameters.password, "broker-password");
    EXPECT_EQ(parameters.keepAlive, std::chrono::seconds(180));
    EXPECT_FALSE(parameters.cleanSession);
    EXPECT_NE(sessions_->latest().delegate, nullptr);
    EXPECT_EQ(room().createSession(), session);
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(BrokerConnectionTest, MakesNoSessionWithoutCredentials) {
    identify();
    const auto complete = rooms_->settings.application();
    for (const auto field : {&RegisteredApplication::username, &RegisteredApplication::password}) {
        for (const auto& unusable : {std::optional<std::string>(), std::optional<std::string>(" ")}) {
            auto application = complete;
            application.*field = unusable;
            rooms_->settings.setApplication(application);
            EXPECT_FALSE(room().createSession());
        }
    }
    rooms_->settings.setApplication(complete);
    EXPECT_EQ(room().brokerClientId(), "a1b2c3/alice01/D3V1CE");
    rooms_->settings.setDeviceId(std::nullopt);
    EXPECT_FALSE(room().createSession());
    EXPECT_FALSE(room().brokerClientId());
    EXPECT_THAT(sessions_->made, IsEmpty());
}

TEST_F(BrokerConnectionTest, ConnectsToTheEnvironmentsBroker) {
    identify();
    switchLogOn();
    room().connectToServer();
    EXPECT_THAT(sessions_->latest().calls,
                ElementsAre("connect a1b2c3." + Endpoints().kBrokerAddress + ":4443 TLS"));
    EXPECT_THAT(takeLog(),
                ElementsAre("Creating broker session",
                            "[-[PushClientManager connectToServer]]: Connecting to server @Connecting"));
    EXPECT_EQ(room().reconnectTime(), 3.0);
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
    EXPECT_EQ(sessions_->latest().calls.front().substr(0, 7), "connect");
}

TEST_F(BrokerConnectionTest, IgnoresAConnectByTheSessionsStatusToo) {
    identify();
    room().createSession();
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
    EXPECT_THAT(takeLog().back(), testing::HasSubstr("Ignore connecting to server Connecting"));
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
    EXPECT_FALSE(room().brokerSession());
}

TEST_F(BrokerConnectionTest, ReportsEveryAssignmentOfTheState) {
    addDelegate();
    room().setConnectionState(PushClientServerDisconnectedState);
    room().setConnectionState(PushClientServerDisconnectedState);
    EXPECT_EQ(takeHeard().size(), 2U);
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
    EXPECT_FALSE(room().reconnectTimer());
    EXPECT_TRUE(room().brokerSession()) << "it is kept";
}

TEST_F(BrokerConnectionTest, DisconnectsWithoutASessionToo) {
    switchLogOn();
    room().disconnectFromServer();
    EXPECT_THAT(takeLog(),
                ElementsAre("[-[PushClientManager disconnectFromServer]]: Disconnect Request... "));
}

TEST_F(BrokerConnectionTest, ClosesSilentlyWhenTheClientIsDestroyed) {
    connect();
    addDelegate();
    const auto session = sessions_->made.back();
    session->calls.clear();
    rooms_.reset();
    EXPECT_THAT(session->calls, ElementsAre("close"));
    EXPECT_EQ(session->delegate, nullptr);
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(BrokerConnectionTest, HandsPublicationsOnByPayloadAndTopic) {
    auto& session = connect();
    addDelegate();
    session.publish(R"({"id":"m1"})", "app/a1b2c3/user/public/news");
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Message m1"));
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
    room().dropSession();
    EXPECT_FALSE(room().brokerSession());
    EXPECT_EQ(state(), "Disconnected");
    EXPECT_EQ(sessions_->made.size(), 1U);
    room().connectToServer();
    EXPECT_EQ(sessions_->made.size(), 2U);
}

TEST_F(BrokerConnectionTest, GoesOnWhenTheHostThrowsInAStateReport) {
    identify();
    rooms_->fanout.blocks.serverConnectionStateHandler = [] { throw std::runtime_error("host"); };
    EXPECT_THROW(room().connectToServer(), std::runtime_error);
    ASSERT_EQ(sessions_->made.size(), 1U);
    auto& session = sessions_->latest();
    EXPECT_EQ(session.calls.size(), 1U) << "the attempt was made";
    EXPECT_THROW(session.connected(), std::runtime_error);
    EXPECT_TRUE(session.calls.back().starts_with("subscribe")) << "the topics were asked for";
    EXPECT_THROW(session.fail(MQTTSessionEvent::ConnectionError, makeError("MQTT", 1, "lost")),
                 std::runtime_error);
    EXPECT_TRUE(room().reconnectTimer()) << "the next attempt was scheduled";
}

}  // namespace
}  // namespace xel
