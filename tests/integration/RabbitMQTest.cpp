// The shipped client against a broker that is not made for it: RabbitMQ with its MQTT plugin.

#include <iostream>

#include <gtest/gtest.h>

#include "sandbox/relay/MessageComposer.h"
#include "sandbox/relay/Topics.h"
#include "tests/integration/LiveClient.h"
#include "tests/integration/RabbitMQBroker.h"
#include "tests/integration/SandboxSupport.h"

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
    const sandbox::Json message = sandbox::composeMessage(
        {.id = "m1", .user = "public", .channel = "news", .serverTime = 1514800000000},
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

}  // namespace
}  // namespace xel::test
