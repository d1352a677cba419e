// The shipped client against a broker that is not made for it: RabbitMQ with its MQTT plugin.

#include <iostream>

#include <gtest/gtest.h>

#include "sandbox/relay/MessageComposer.h"
#include "sandbox/relay/Topics.h"
#include "tests/integration/support/LiveClient.h"
#include "tests/integration/support/RabbitMQBroker.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::test {
namespace {

using sandbox::SandboxInfo;
using sandbox::test::MqttTestClient;
using sandbox::test::RunningSandbox;
using sandbox::test::TemporaryFolder;

/// A client that registers with the local service's backend and whose broker is RabbitMQ. Whatever it
/// publishes as the event "forbidden" ends its connection; everything else is taken.
class ClientAndRabbitMQ : public testing::Test {
protected:
    ClientAndRabbitMQ() {
        std::cout << "RabbitMQ started in " << rabbit_.startTime().count() << " ms\n";
        options_.home = home_.path();
        options_.usingTLS = false;
    }

    /// The service's, with RabbitMQ in the place of its broker.
    [[nodiscard]] SandboxInfo info() const {
        SandboxInfo info = service_.info();
        info.brokerUser = kClient.name;
        info.brokerPassword = kClient.password;
        info.mqttPort = rabbit_.mqttPort();
        return info;
    }

    [[nodiscard]] MqttTestClient::Options otherClient() const {
        return {.clientId = "other",
                .user = kOther.name,
                .password = kOther.password,
                .port = rabbit_.mqttPort(),
                .caFile = {},
                .cleanSession = true};
    }

    inline static const RabbitMQUser kClient{
        .name = "client", .password = "of the client", .mayPublish = R"(^(?!.*\.event\.forbidden\.))"};
    inline static const RabbitMQUser kOther{.name = "other", .password = "of the other"};

    RunningSandbox service_;
    RabbitMQBroker rabbit_{{kClient, kOther}};
    TemporaryFolder home_;
    LiveClientOptions options_;
};

TEST_F(ClientAndRabbitMQ, ConnectsSubscribesAndReceives) {
    options_.channels = {"news"};
    LiveClient client(info(), options_);
    client.registerUser();
    ASSERT_TRUE(client.runUntil([&] { return client.subscribed.size() == 1; }));

    MqttTestClient other(otherClient());
    ASSERT_EQ(other.connect(), 0) << other.lastError();
    const sandbox::Json message = sandbox::composeMessage({.id = "m1",
                                                           .user = "public",
                                                           .channel = "news",
                                                           .serverTime = 1514800000000,
                                                           .senderId = {},
                                                           .sentId = {}},
                                                          {{"messageBody", "to all"}});
    ASSERT_TRUE(other.publish(sandbox::userTopic(service_.info().appId, "public", "news"),
                              sandbox::printJson(message)));
    ASSERT_TRUE(client.runUntilMessages(1));
    EXPECT_EQ(client.messages[0].messageBody, "to all");
    EXPECT_EQ(client.messages[0].channel, "news");
}

TEST_F(ClientAndRabbitMQ, LosesTheConnectionWithAPublicationThatRabbitMQRefuses) {
    LiveClient client(info(), options_);
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Connected"));
    ASSERT_TRUE(client.push().publishEvent("forbidden", Dictionary{}));
    ASSERT_TRUE(client.runUntilState("Error"));
    EXPECT_TRUE(rabbit_.logs("is closing due to an authorization failure"));
}

TEST_F(ClientAndRabbitMQ, GivesUpAPublicationThatRabbitMQRefusesAndSendsWhatStandsBehindIt) {
    options_.session.firstRetry = std::chrono::milliseconds(200);
    options_.session.longestRetry = std::chrono::milliseconds(200);
    LiveClient client(info(), options_);
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Connected"));
    client.push().subscribeEvent("allowed");
    ASSERT_TRUE(client.runUntil([&] { return !client.subscribed.empty(); }));

    ASSERT_TRUE(client.push().publishEvent("forbidden", Dictionary{{"id", "F1"}}));
    ASSERT_TRUE(client.push().publishEvent("allowed", Dictionary{{"id", "A0"}}));
    ASSERT_TRUE(client.runUntil([&] { return client.events.size() == 1; }));
    EXPECT_EQ(client.events[0].id, "A0");

    // Each try ends the connection; it counts when another publication was acknowledged before it.
    for (int i = 1; client.publishErrors.empty() && i <= 12; ++i) {
        ASSERT_TRUE(client.push().publishEvent("allowed", Dictionary{{"id", "A" + std::to_string(i)}}));
        const auto expected = static_cast<std::size_t>(i) + 1;
        ASSERT_TRUE(client.runUntil([&] { return client.events.size() == expected; })) << i;
        ASSERT_TRUE(
            client.runUntil([&] { return client.state() == "Error" || !client.publishErrors.empty(); }));
        client.runUntilState("Connected");
    }
    ASSERT_EQ(client.publishErrors.size(), 1U);
    const std::string text = client.publishErrors[0].localizedDescription();
    EXPECT_NE(text.find("/event/forbidden/"), std::string::npos) << text;
    EXPECT_NE(text.find("given up"), std::string::npos) << text;
}

}  // namespace
}  // namespace xel::test
