// The shipped client against the real broker and backend of the local push service.

#include <gtest/gtest.h>

#include "tests/integration/support/LiveClient.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::test {
namespace {

using namespace std::chrono_literals;
using sandbox::Json;
using sandbox::SandboxInfo;
using sandbox::test::askRest;
using sandbox::test::RunningSandbox;
using sandbox::test::TemporaryFolder;

void sendMessage(const SandboxInfo& info, const Json& fields) {
    ASSERT_EQ(askRest(info, "POST", "sandbox/messages", fields).status, 200U);
}

void sendEvent(const SandboxInfo& info, const Json& fields) {
    ASSERT_EQ(askRest(info, "POST", "sandbox/events", fields).status, 200U);
}

void removeInstallation(const SandboxInfo& info, const std::string& deviceId) {
    ASSERT_EQ(askRest(info, "DELETE", "installations/" + deviceId).status, 200U);
}

class ClientRoad : public testing::TestWithParam<bool> {
protected:
    LiveClientOptions options() const {
        LiveClientOptions options;
        options.home = home_.path();
        options.usingTLS = GetParam();
        return options;
    }

    RunningSandbox sandbox_;
    TemporaryFolder home_;
};

INSTANTIATE_TEST_SUITE_P(PlainAndTLS, ClientRoad, testing::Bool(),
                         [](const auto& way) { return way.param ? "TLS" : "Plain"; });

TEST_P(ClientRoad, RegistersConnectsSubscribesAndReceives) {
    auto wanted = options();
    wanted.channels = {"news", "private/orders"};
    LiveClient client(sandbox_.info(), wanted);
    client.registerUser();
    ASSERT_TRUE(client.runUntil([&] { return client.subscribed.size() == 2; }));
    EXPECT_EQ(client.states, (std::vector<std::string>{"Connecting", "Connected"}));
    EXPECT_EQ(client.subscribed, (std::vector<std::string>{"news", "private/orders"}));

    sendMessage(sandbox_.info(),
                {{"user", "alice01"}, {"channel", "orders"}, {"body", "your order"}, {"id", "m1"}});
    sendMessage(sandbox_.info(), {{"channel", "news"}, {"body", "to all"}, {"id", "m2"}});
    sendMessage(sandbox_.info(), {{"channel", "news"}, {"body", "to all"}, {"id", "m2"}});
    sendMessage(sandbox_.info(),
                {{"channel", "news"}, {"body", "too late"}, {"id", "m3"}, {"expireTime", 1000}});
    sendMessage(sandbox_.info(), {{"channel", "news"}, {"body", "last"}, {"id", "m4"}});
    ASSERT_TRUE(client.runUntilMessages(3));
    EXPECT_EQ(client.messages[0].messageBody, "your order");
    EXPECT_EQ(client.messages[0].channel, "private/orders");
    EXPECT_EQ(client.messages[1].messageBody, "to all");
    EXPECT_EQ(client.messages[1].channel, "news");
    EXPECT_TRUE(client.messages[1].serverTime.has_value());
    EXPECT_EQ(client.messages[2].messageBody, "last");
    EXPECT_TRUE(client.log->contains("Ignore duplicate message id m2"));
    EXPECT_TRUE(client.log->contains("Ignore expired message 1970-01-01 00:00:01 +0000"));
}

TEST_P(ClientRoad, IsTheSameForAHostWithoutABus) {
    auto wanted = options();
    wanted.makeMachine = makeHeadlessMachine;
    LiveClient client(sandbox_.info(), wanted);
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Connected"));
    sendMessage(sandbox_.info(), {{"user", "alice01"}, {"body", "your order"}, {"id", "m1"}});
    ASSERT_TRUE(client.runUntilMessages(1));
    EXPECT_EQ(client.messages.front().messageBody, "your order");
}

TEST_P(ClientRoad, ReportsAWrongPasswordOnceAndDoesNotTryAgain) {
    auto wanted = options();
    wanted.brokerPassword = "not the password";
    LiveClient client(sandbox_.info(), wanted);
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Error"));
    client.runFor(4s);
    EXPECT_EQ(client.states, (std::vector<std::string>{"Connecting", "Error"}));
    ASSERT_TRUE(client.push().failureError().has_value());
    EXPECT_EQ(client.push().failureError()->code, 5);
    EXPECT_NE(client.push().failureError()->localizedDescription().find("not authorized"), std::string::npos);
}

TEST_P(ClientRoad, ReconnectsWhenTheBrokerIsBackAndHasWhatWasSentMeanwhileOnce) {
    LiveClient client(sandbox_.info(), options());
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Connected"));
    client.runFor(500ms);
    sandbox_.service->stopBroker();
    ASSERT_TRUE(client.runUntilState("Error"));
    sandbox_.service->startBroker(sandbox::BrokerSessions::Keep);
    for (int i = 0; i < 30; ++i) {
        sendMessage(sandbox_.info(), {{"user", "alice01"}, {"body", std::to_string(i)}});
    }
    ASSERT_TRUE(client.runUntilState("Connected"));
    ASSERT_TRUE(client.runUntilMessages(30));
    client.runFor(500ms);
    ASSERT_EQ(client.messages.size(), 30U);
    for (std::size_t i = 0; i < client.messages.size(); ++i) {
        EXPECT_EQ(client.messages[i].messageBody, std::to_string(i));
    }
}

TEST_P(ClientRoad, RestoresItsTopicsWhenTheBrokerHasLostTheSession) {
    auto wanted = options();
    wanted.channels = {"news"};
    LiveClient client(sandbox_.info(), wanted);
    client.registerUser();
    ASSERT_TRUE(client.runUntil([&] { return client.subscribed.size() == 1; }));
    sandbox_.service->restartBroker(sandbox::BrokerSessions::Drop);
    ASSERT_TRUE(client.runUntilState("Error"));
    ASSERT_TRUE(client.runUntilState("Connected"));
    client.runFor(500ms);
    sendMessage(sandbox_.info(), {{"channel", "news"}, {"body", "public"}});
    sendMessage(sandbox_.info(), {{"user", "alice01"}, {"body", "private"}});
    ASSERT_TRUE(client.runUntilMessages(2));
    // They were granted before: nobody is told again.
    EXPECT_EQ(client.subscribed, std::vector<std::string>{"news"});
}

TEST_P(ClientRoad, SubscribesAfterARestartOnlyToWhatIsNotYetGranted) {
    auto wanted = options();
    wanted.channels = {"news"};
    {
        LiveClient client(sandbox_.info(), wanted);
        client.registerUser();
        ASSERT_TRUE(client.runUntil([&] { return client.subscribed.size() == 1; }));
    }
    wanted.channels = {"news", "sport"};
    LiveClient client(sandbox_.info(), wanted);
    client.registerUser();
    ASSERT_TRUE(client.runUntil([&] { return !client.subscribed.empty(); }));
    client.runFor(300ms);
    EXPECT_EQ(client.subscribed, std::vector<std::string>{"sport"});
    sendMessage(sandbox_.info(), {{"channel", "news"}, {"body", "old channel"}});
    sendMessage(sandbox_.info(), {{"channel", "sport"}, {"body", "new channel"}});
    EXPECT_TRUE(client.runUntilMessages(2));
}

TEST_P(ClientRoad, HasWhatWasSentWhileTheHostWasNotRunning) {
    {
        LiveClient client(sandbox_.info(), options());
        client.registerUser();
        ASSERT_TRUE(client.runUntilState("Connected"));
        client.runFor(500ms);
    }
    for (int i = 0; i < 60; ++i) {
        sendMessage(sandbox_.info(), {{"user", "alice01"}, {"body", std::to_string(i)}});
    }
    LiveClient client(sandbox_.info(), options());
    client.connectAgain();
    ASSERT_TRUE(client.runUntilMessages(60));
    client.runFor(300ms);
    EXPECT_EQ(client.messages.size(), 60U);
}

TEST_P(ClientRoad, HearsOfEventsAndDeliveries) {
    auto wanted = options();
    wanted.hearsDeliveries = true;
    LiveClient client(sandbox_.info(), wanted);
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Connected"));
    client.push().subscribeEvent("login");
    ASSERT_TRUE(client.runUntil([&] { return !client.subscribed.empty(); }));
    sendEvent(sandbox_.info(),
              {{"event", "login"}, {"deviceId", "X9"}, {"data", {{"id", "e1"}, {"where", "here"}}}});
    ASSERT_TRUE(client.runUntil([&] { return !client.events.empty(); }));
    EXPECT_EQ(client.events[0].eventName, "login");
    EXPECT_EQ(client.events[0].deviceId, "X9");
    EXPECT_EQ(client.events[0].id, "e1");

    sendMessage(sandbox_.info(), {{"user", "alice01"},
                                  {"body", "report it"},
                                  {"id", "m1"},
                                  {"senderId", "alice01"},
                                  {"sentId", "X9"}});
    ASSERT_TRUE(client.runUntil([&] { return !client.deliveries.empty(); }));
    EXPECT_EQ(client.deliveries[0].messageId, "m1");
    EXPECT_EQ(client.deliveries[0].deliveredUserId, "alice01");
    EXPECT_EQ(client.deliveries[0].deliveredDeviceId, client.push().deviceId());
}

TEST_P(ClientRoad, RegistersAnewWhenTheServiceHasForgottenTheInstallation) {
    LiveClient client(sandbox_.info(), options());
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Connected"));
    client.runFor(300ms);
    const auto formerDevice = client.push().deviceId();
    removeInstallation(sandbox_.info(), *formerDevice);
    client.push().registerDeviceToServer();
    ASSERT_TRUE(client.runUntil(
        [&] { return client.push().deviceId() && client.push().deviceId() != formerDevice; }));
    ASSERT_TRUE(client.runUntilState("Connected"));
    client.runFor(500ms);
    sendMessage(sandbox_.info(), {{"user", "alice01"}, {"body", "still here"}});
    EXPECT_TRUE(client.runUntilMessages(1));
    EXPECT_TRUE(client.registrationErrors.empty());
}

TEST_P(ClientRoad, GoesOnAsAnotherUser) {
    LiveClient client(sandbox_.info(), options());
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Connected"));
    ASSERT_TRUE(client.push().registerUser("bob02", {"news"}));
    ASSERT_TRUE(client.runUntil([&] { return client.subscribed.size() == 1; }));
    EXPECT_EQ(client.state(), "Connected");
    sendMessage(sandbox_.info(), {{"user", "alice01"}, {"body", "for the former user"}});
    sendMessage(sandbox_.info(), {{"user", "bob02"}, {"body", "for the new user"}});
    ASSERT_TRUE(client.runUntilMessages(1));
    client.runFor(300ms);
    ASSERT_EQ(client.messages.size(), 1U);
    EXPECT_EQ(client.messages[0].messageBody, "for the new user");
}

}  // namespace
}  // namespace xel::test
