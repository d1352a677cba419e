#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RegistrationTest : public RoomsTest {
protected:
    RegistrationTest() {
        rooms_->lifecycle.observeReachability();
        rooms_->coordinator.observeInstallationId();
        addDelegate();
    }

    Registration& room() { return rooms_->registration; }

    /// A save that was queued and sent, and waits for its answer.
    void sendSave() {
        rooms_->token.deviceToken = Data{1, 2};
        EXPECT_TRUE(room().registerDeviceToServer());
        machine_.runUntilIdle();
        EXPECT_EQ(machine_.http->waitingCount(), 1U);
    }
    void answerSave(int status, const std::string& body) {
        const std::string method = lastOf(machine_.http->requests()).method;
        machine_.http->answer(method, "installations*", status, body);
        machine_.runUntilIdle();
    }
};

TEST_F(RegistrationTest, TakesTheCredentialsAndMakesASessionWithoutConnecting) {
    rooms_->settings.setUserId("alice01");
    rooms_->settings.setDeviceId("D3V1CE");
    EXPECT_TRUE(room().registerApplication("a1b2c3", "key", "broker-user", "broker-password"));
    auto& settings = rooms_->settings;
    EXPECT_EQ(settings.appVersion(), "1.16.1");
    EXPECT_EQ(settings.appId(), "a1b2c3");
    EXPECT_EQ(settings.apiKey(), "key");
    EXPECT_EQ(settings.username(), "broker-user");
    EXPECT_EQ(settings.password(), "broker-password");
    EXPECT_TRUE(settings.usingSSLConnection());
    ASSERT_EQ(sessions_->made.size(), 1U);
    EXPECT_THAT(sessions_->latest().calls, IsEmpty());
    EXPECT_TRUE(machine_.http->requests().empty());
}

TEST_F(RegistrationTest, StoresUserAndChannelsAndAsksForAToken) {
    machine_.application->setHoldingAnswers(true);
    registerApplication();
    EXPECT_TRUE(room().registerUser("alice01", {"news", "private/orders"}));
    EXPECT_EQ(onDisk("userId"), Value("alice01"));
    EXPECT_EQ(onDisk("userChannels"), Value(Dictionary{{"app/a1b2c3/user/alice01/default", 1},
                                                       {"app/a1b2c3/user/public/news", 1},
                                                       {"app/a1b2c3/user/alice01/orders", 1}}));
    EXPECT_EQ(machine_.application->tokenRequests().size(), 1U);
    EXPECT_FALSE(rooms_->registrationState.isRegistered());
}

TEST_F(RegistrationTest, AddsChannelsForTheSameUserAgain) {
    machine_.application->setHoldingAnswers(true);
    registerApplication();
    room().registerUser("alice01", {"news"});
    EXPECT_TRUE(room().registerUser("alice01", {"sport"}));
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(), ElementsAre("private/default", "news", "sport"));
    EXPECT_EQ(machine_.application->tokenRequests().size(), 2U);
    EXPECT_TRUE(machine_.http->requests().empty()) << "nothing is removed";
}

TEST_F(RegistrationTest, SavesANewInstallationAndConnects) {
    registerApplication();
    rooms_->settings.setUserId("alice01");
    std::vector<std::string> broadcasts;
    home_.notificationCenter->addObserver(
        "PushClientDidChangedInstallationIdNotification", &manager_, [&](const NSNotification& posted) {
            broadcasts.push_back(
                formatted("%@ %d, id %@", posted.name, posted.userInfo.size(), rooms_->settings.deviceId()));
        });
    switchLogOn();
    sendSave();
    EXPECT_EQ(lastOf(machine_.http->requests()).method, "POST");
    EXPECT_THAT(takeLog(), ElementsAre("[-[PushClientManager registerDeviceToServer]_block_invoke]: "
                                       "registerDeviceWithAdapter1 "));
    answerSave(200, R"({"id":"D3V1CE"})");
    EXPECT_EQ(onDisk("PushClientDeviceId"), Value("D3V1CE"));
    EXPECT_TRUE(rooms_->registrationState.isRegistered());
    EXPECT_THAT(broadcasts, ElementsAre("PushClientDidChangedInstallationIdNotification 0, id (null)"));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: RegisterUser 1", "delegate: ConnectionState"));
    const auto log = takeLog();
    ASSERT_GE(log.size(), 3U);
    EXPECT_EQ(log[0], "handleRegistrationSuccess");
    EXPECT_EQ(log[1], "No registrationHandler for success");
    EXPECT_EQ(log[2], "[-[PushClientManager handleRegistrationSuccess]]: Calling connectToServer");
    EXPECT_EQ(rooms_->state.value(), PushClientServerConnectingState);
}

TEST_F(RegistrationTest, UpdatesAKnownInstallationWithoutABroadcast) {
    identify();
    bool wasBroadcast = false;
    home_.notificationCenter->addObserver("PushClientDidChangedInstallationIdNotification", nullptr,
                                          [&](const NSNotification&) { wasBroadcast = true; });
    switchLogOn();
    sendSave();
    EXPECT_EQ(lastOf(machine_.http->requests()).method, "PUT");
    EXPECT_THAT(takeLog(), ElementsAre("[-[PushClientManager registerDeviceToServer]_block_invoke]: "
                                       "registerDeviceWithAdapter2 "));
    answerSave(200, R"({"id":"D3V1CE"})");
    EXPECT_FALSE(wasBroadcast);
    EXPECT_TRUE(rooms_->registrationState.isRegistered());
}

TEST_F(RegistrationTest, FailsWhenNoClientIdMayHoldTheNewId) {
    registerApplication();
    rooms_->settings.setUserId("alice01");
    sendSave();
    answerSave(200, R"({"id":"D3\u0007V1CE"})");
    EXPECT_FALSE(rooms_->registrationState.isRegistered());
    EXPECT_FALSE(rooms_->settings.deviceId());
    EXPECT_TRUE(sessions_->made.empty());
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailRegisterUser -5010"));
    ASSERT_TRUE(rooms_->lastFailure.error());
    EXPECT_EQ(rooms_->lastFailure.error()->localizedFailureReason(),
              "the service gave the installation id 'D3<U+0007>V1CE', which no client id may hold: it holds "
              "the control character U+0007");
}

TEST_F(RegistrationTest, KeepsTheDeviceIdForAnAnswerWithoutOne) {
    identify();
    sendSave();
    answerSave(200, "{}");
    EXPECT_EQ(rooms_->settings.deviceId(), "D3V1CE");
    EXPECT_TRUE(rooms_->registrationState.isRegistered());
}

TEST_F(RegistrationTest, IsNotRegisteredWithoutAnyDeviceId) {
    registerApplication();
    rooms_->settings.setUserId("alice01");
    sendSave();
    switchLogOn();
    answerSave(200, "{}");
    EXPECT_THAT(takeLog(), ElementsAre("handleRegistrationSuccess no deviceId"));
    EXPECT_FALSE(rooms_->registrationState.isRegistered());
    EXPECT_THAT(takeHeard(), IsEmpty());
    EXPECT_TRUE(sessions_->made.empty());
}

TEST_F(RegistrationTest, SavesANewInstallationWhenTheBackendForgotIt) {
    connect();
    (void)takeHeard();
    home_.defaults->setObject("subscribedTopics", Array{Value("t")});
    sendSave();
    switchLogOn();
    answerSave(404, R"({"error":{"status":404,"message":"Unknown installation"}})");
    EXPECT_FALSE(rooms_->settings.deviceId() || rooms_->session.brokerClientId());
    EXPECT_FALSE(rooms_->session.current());
    EXPECT_FALSE(onDisk("subscribedTopics"));
    EXPECT_EQ(lastOf(machine_.http->requests()).method, "POST");
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: ConnectionState")) << "no failure is reported";
    EXPECT_THAT(takeLog(), testing::Contains("[-[PushClientManager registerDeviceToServer]_block_invoke]: "
                                             "registerDeviceToServer recover new deviceId "));
    EXPECT_FALSE(rooms_->lastFailure.error());
}

TEST_F(RegistrationTest, FailsForA404WithoutADeviceId) {
    registerApplication();
    rooms_->settings.setUserId("alice01");
    sendSave();
    answerSave(404, R"({"error":{"status":404}})");
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailRegisterUser -5012"));
    EXPECT_EQ(rooms_->lastFailure.error()->code, -1011) << "the error as it came";
    EXPECT_EQ(machine_.http->requests().size(), 1U);
}

TEST_F(RegistrationTest, RemembersToRepeatAfterATransientFailureOnly) {
    identify();
    sendSave();
    answerSave(500, "{}");
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailRegisterUser -5012"));
    EXPECT_FALSE(rooms_->registrationState.isPending());
    sendSave();
    machine_.http->fail("PUT", "installations*", NSURLErrorCode::TimedOut, "slow");
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailRegisterUser -5012"));
    EXPECT_TRUE(rooms_->registrationState.isPending());
    sendSave();
    answerSave(500, "{}");
    EXPECT_TRUE(rooms_->registrationState.isPending()) << "only a success ends it";
    sendSave();
    answerSave(200, R"({"id":"D3V1CE"})");
    EXPECT_FALSE(rooms_->registrationState.isPending());
    EXPECT_TRUE(rooms_->registrationState.isRegistered());
}

TEST_F(RegistrationTest, RemovesTheInstallationAndResetsAtOnce) {
    connect();
    std::vector<std::string> outcomes;
    room().unregisterUser([&](const Value&) { outcomes.emplace_back("removed"); },
                          [&](const NSError& error) { outcomes.push_back(formatted("%d", error.code)); });
    EXPECT_FALSE(rooms_->settings.userId() || rooms_->settings.deviceId());
    EXPECT_EQ(lastOf(machine_.http->requests()).method, "DELETE");
    EXPECT_THAT(outcomes, IsEmpty());
    switchLogOn();
    machine_.http->answer("DELETE", "installations/D3V1CE", 200, R"({"count":1})");
    machine_.runUntilIdle();
    EXPECT_THAT(outcomes, ElementsAre("removed"));
    EXPECT_THAT(takeLog(), ElementsAre(R"(Installation removed {"count":1})"));
}

TEST_F(RegistrationTest, PassesTheFailureOfARemovalOn) {
    identify();
    switchLogOn();
    std::vector<std::int64_t> codes;
    room().unregisterUser(nullptr, [&](const NSError& error) { codes.push_back(error.code); });
    machine_.http->answer("DELETE", "installations/D3V1CE", 500, "{}");
    machine_.runUntilIdle();
    EXPECT_THAT(codes, ElementsAre(-1011));
    EXPECT_TRUE(lastOf(takeLog()).starts_with("Error Error Domain=NSURLErrorDomain Code=-1011"));
}

TEST_F(RegistrationTest, ResetsAlsoWithoutAnInstallationButCallsNeitherBlock) {
    registerApplication();
    rooms_->settings.setUserId("alice01");
    bool wasCalled = false;
    room().unregisterUser([&](const Value&) { wasCalled = true; }, [&](const NSError&) { wasCalled = true; });
    machine_.runUntilIdle();
    EXPECT_FALSE(wasCalled);
    EXPECT_TRUE(machine_.http->requests().empty());
    EXPECT_FALSE(rooms_->settings.userId());
}

TEST_F(RegistrationTest, MovesToAnotherUserOnceTheOldInstallationIsRemoved) {
    connect();
    rooms_->token.deviceToken = Data{1};
    switchLogOn();
    EXPECT_TRUE(room().registerUser("bob02", {"sport"}));
    EXPECT_THAT(takeLog(), testing::Contains("[-[PushClientManager registerAgainWithUserId:channels:]]: "
                                             "registerAgainDeviceToServer "));
    EXPECT_FALSE(rooms_->settings.userId());
    EXPECT_FALSE(rooms_->session.current());
    EXPECT_EQ(rooms_->state.value(), PushClientServerDisconnectedState);
    machine_.http->answer("DELETE", "installations/D3V1CE", 200, "{}");
    machine_.runUntilIdle();
    EXPECT_EQ(rooms_->settings.userId(), "bob02");
    EXPECT_THAT(rooms_->channels.deviceSubscriptions(), ElementsAre("private/default", "sport"));
    EXPECT_EQ(lastOf(machine_.http->requests()).method, "POST");
    EXPECT_THAT(takeLog(), testing::Contains("TVR : Register again with new userId."));
}

TEST_F(RegistrationTest, SaysWhenItCannotMoveToAnotherUser) {
    identify();
    switchLogOn();
    room().registerAgainWithUserId("bob02", {});
    machine_.http->answer("DELETE", "installations/D3V1CE", 200, "{}");
    machine_.runUntilIdle();
    EXPECT_THAT(lastOf(takeLog()), "TVR : Fail to register with new userId!!!") << "there is no token";
    rooms_->settings.setDeviceId("D3V1CE");
    room().registerAgainWithUserId("carol03", {});
    machine_.http->answer("DELETE", "installations/D3V1CE", 500, "{}");
    machine_.runUntilIdle();
    EXPECT_THAT(lastOf(takeLog()), "TVR : Fail to register with new userId!!!");
    EXPECT_FALSE(rooms_->settings.userId());
}

TEST_F(RegistrationTest, StopsMovingAtAChannelThatIsNoTopic) {
    identify();
    rooms_->token.deviceToken = Data{1};
    room().registerAgainWithUserId("bob02", {"a/b/c"});
    machine_.http->answer("DELETE", "installations/D3V1CE", 200, "{}");
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailInSubscribe InvalidParameter -5002 Channel 'a/b/c' "
                                         "is not valid"));
    EXPECT_EQ(machine_.http->requests().size(), 1U) << "nothing was saved";
}

TEST_F(RegistrationTest, IgnoresAnswersAboutAnIdentityThatEnded) {
    identify();
    sendSave();
    rooms_->coordinator.reset();
    (void)takeHeard();
    answerSave(200, R"({"id":"LATE"})");
    EXPECT_FALSE(rooms_->settings.deviceId());
    EXPECT_FALSE(rooms_->registrationState.isRegistered());
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(RegistrationTest, DropsAQueuedSaveOfAnIdentityThatEnded) {
    identify();
    rooms_->token.deviceToken = Data{1};
    EXPECT_TRUE(room().registerDeviceToServer());
    rooms_->coordinator.reset();
    rooms_->settings.setUserId("bob02");
    machine_.runUntilIdle();
    EXPECT_TRUE(machine_.http->requests().empty());
}

TEST_F(RegistrationTest, ReadsTheClientWhenTheQueuedSaveStarts) {
    identify();
    rooms_->token.deviceToken = Data{1};
    room().registerDeviceToServer();
    rooms_->settings.setUserInfo(Dictionary{{"tier", "gold"}});
    machine_.runUntilIdle();
    EXPECT_NE(lastOf(machine_.http->requests()).body.find(R"("userInfo":{"tier":"gold"})"),
              std::string::npos);
}

TEST_F(RegistrationTest, ConnectsAlsoWhenTheHostThrowsInTheReport) {
    identify();
    rooms_->fanout.blocks.registrationHandler = [](bool registered, const auto&, const auto&) {
        if (registered) {
            throw std::runtime_error("host");
        }
    };
    sendSave();
    machine_.http->fail("PUT", "installations*", NSURLErrorCode::TimedOut, "slow");
    machine_.runUntilIdle();
    ASSERT_TRUE(rooms_->registrationState.isPending());
    sendSave();
    EXPECT_THROW(answerSave(200, R"({"id":"D3V1CE"})"), std::runtime_error);
    EXPECT_EQ(rooms_->state.value(), PushClientServerConnectingState);
    EXPECT_FALSE(rooms_->registrationState.isPending());
    EXPECT_TRUE(rooms_->registrationState.isRegistered());
}

TEST_F(RegistrationTest, StopsWhenTheHostEndsTheIdentityThatGetsANewId) {
    connect();
    bool isFirst = true;
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] {
        if (std::exchange(isFirst, false)) {
            rooms_->coordinator.reset();
        }
    };
    (void)takeHeard();
    sendSave();
    answerSave(200, R"({"id":"OTHER"})");
    EXPECT_FALSE(rooms_->settings.deviceId());
    EXPECT_FALSE(rooms_->registrationState.isRegistered());
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: ConnectionState"));
}

}  // namespace
}  // namespace xel
