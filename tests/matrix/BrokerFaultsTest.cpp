// A real broker that dies, stops, forgets, refuses or is full.

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/matrix/support/Correspondent.h"
#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/RealBroker.h"

namespace xel::matrix {
namespace {

using namespace std::chrono_literals;

class BrokerFault : public testing::Test {
protected:
    void start(RealBroker::Options options = {}, MQTTSessionOptions session = {}) {
        broker_ = std::make_unique<RealBroker>(std::move(options));
        makeClient(session);
        client_->connect();
    }

    void makeClient(MQTTSessionOptions session = {}) {
        MatrixClientOptions options;
        options.port = broker_->port();
        options.home = folder_.path();
        options.session = session;
        client_ = std::make_unique<MatrixClient>(options);
    }

    static MQTTSessionOptions retriesAtOnce() {
        MQTTSessionOptions session;
        session.firstRetry = 10ms;
        session.longestRetry = 20ms;
        return session;
    }

    void startConnected(RealBroker::Options options = {}, MQTTSessionOptions session = {}) {
        start(std::move(options), session);
        ASSERT_TRUE(client_->runUntilConnected()) << client_->failureText();
        // Once this has come the broker has the client's topics.
        correspondent_ = std::make_unique<Correspondent>(broker_->port());
        expectOpenRoad("first");
    }

    /// A publication each way arrives, once.
    void expectOpenRoad(const std::string& name) {
        expectPublished("from-" + name);
        expectMessage("to-" + name);
    }

    void expectPublished(const std::string& text) {
        EXPECT_TRUE(client_->push().publish("news", text));
        expectArrival(text);
    }

    /// What was answered YES reaches the broker, after however many connections.
    void expectArrival(const std::string& text) {
        EXPECT_TRUE(client_->healUntil([&] { return correspondent_->has(text); }))
            << text << ": " << client_->failureText();
    }

    void expectMessage(const std::string& text) {
        EXPECT_TRUE(client_->healUntil([&] { return client_->isConnected(); })) << client_->failureText();
        // Restored topics are answered by then, or the broker kept them.
        correspondent_->send(text);
        EXPECT_TRUE(client_->healUntil([&] { return client_->countOf(text) > 0; })) << client_->failureText();
        EXPECT_EQ(client_->countOf(text), 1U);
    }

    /// Whether the system sends an end or a reset for a process that is gone depends on what it had not
    /// read.
    void expectLoss() {
        ASSERT_TRUE(client_->runUntilError());
        const std::string text = client_->failureText();
        EXPECT_TRUE(text == "the broker closed the connection" ||
                    text.find(" was lost: ") != std::string::npos)
            << text;
    }

    void expectError(const std::string& words) {
        ASSERT_TRUE(client_->runUntilError()) << client_->states.back();
        EXPECT_NE(client_->failureText().find(words), std::string::npos) << client_->failureText();
    }

    contract::TemporaryFolder folder_;
    std::unique_ptr<RealBroker> broker_;
    std::unique_ptr<MatrixClient> client_;
    std::unique_ptr<Correspondent> correspondent_;
};

class LongBrokerFault : public BrokerFault {};

TEST_F(BrokerFault, KilledAndRestartedWithItsSession) {
    startConnected();
    broker_->kill();
    expectLoss();
    ASSERT_TRUE(client_->push().publish("news", "meanwhile"));
    broker_->start();
    correspondent_->comeBack();
    expectArrival("meanwhile");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, KilledAndRestartedWithoutItsSession) {
    startConnected();
    broker_->kill();
    broker_->forgetSessions();
    expectLoss();
    ASSERT_TRUE(client_->push().publish("news", "meanwhile"));
    broker_->start();
    correspondent_->comeBack();
    expectArrival("meanwhile");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, EndedInOrderWithMessagesForTheClient) {
    startConnected();
    client_->push().disconnectFromServer();
    ASSERT_TRUE(client_->runUntil([&] { return client_->states.back() == "Disconnected"; }));
    for (int i = 0; i < 60; ++i) {
        correspondent_->send("kept-" + std::to_string(i));
    }
    broker_->end();
    broker_->start();
    correspondent_->comeBack();
    client_->push().connectToServer();
    EXPECT_TRUE(client_->healUntil([&] { return client_->countOf("kept-59") > 0; }));
    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(client_->countOf("kept-" + std::to_string(i)), 1U) << i;
    }
}

TEST_F(BrokerFault, KilledWhileTheClientPublishes) {
    startConnected();
    for (int life = 0; life < 3; ++life) {
        for (int i = 0; i < 40; ++i) {
            ASSERT_TRUE(
                client_->push().publish("news", "p-" + std::to_string(life) + "-" + std::to_string(i)));
        }
        client_->runFor(1ms);
        broker_->kill();
        broker_->start();
        // What the killed one had acknowledged it had passed on already, to a correspondent that was there.
        correspondent_->comeBack();
        const std::string last = "last-" + std::to_string(life);
        ASSERT_TRUE(client_->push().publish("news", last));
        expectArrival(last);
    }
    for (int life = 0; life < 3; ++life) {
        EXPECT_TRUE(correspondent_->has("p-" + std::to_string(life) + "-39")) << life;
    }
}

TEST_F(BrokerFault, RestartedWhileTheHostIsNotRunning) {
    startConnected();
    ASSERT_TRUE(client_->push().publish("news", "before"));
    expectArrival("before");
    broker_->end();
    expectLoss();
    ASSERT_TRUE(client_->push().publish("news", "from a former life"));
    client_.reset();
    broker_->start();
    correspondent_->comeBack();
    makeClient();
    client_->connect();
    expectArrival("from a former life");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, AwayWhenTheClientStarts) {
    broker_ = std::make_unique<RealBroker>();
    broker_->end();
    makeClient();
    client_->connect();
    expectError("cannot connect to 127.0.0.1:" + std::to_string(broker_->port()));
    broker_->start();
    correspondent_ = std::make_unique<Correspondent>(broker_->port());
    expectOpenRoad("after");
}

TEST_F(BrokerFault, StoppedAndContinuedBeforeAnybodyNotices) {
    startConnected();
    broker_->suspend();
    ASSERT_TRUE(client_->push().publish("news", "while it stood still"));
    client_->runFor(100ms);
    EXPECT_TRUE(client_->isConnected());
    broker_->resume();
    expectArrival("while it stood still");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, StoppedUntilItsSilenceIsNoticed) {
    startConnected({}, {.connectDeadline = 200ms, .pingResponseDeadline = 100ms, .longestSilence = 100ms});
    broker_->suspend();
    ASSERT_TRUE(client_->push().publish("news", "while it stood still"));
    expectError("the broker did not answer a ping");
    broker_->resume();
    expectArrival("while it stood still");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, StoppedDuringTheConnect) {
    broker_ = std::make_unique<RealBroker>();
    broker_->suspend();
    makeClient({.connectDeadline = 200ms});
    client_->connect();
    expectError("no connection to the broker within");
    broker_->resume();
    correspondent_ = std::make_unique<Correspondent>(broker_->port());
    expectOpenRoad("after");
}

TEST_F(BrokerFault, KilledWhileStopped) {
    startConnected({}, {.connectDeadline = 200ms, .pingResponseDeadline = 100ms, .longestSilence = 100ms});
    broker_->suspend();
    ASSERT_TRUE(client_->push().publish("news", "into nothing"));
    client_->runFor(20ms);
    broker_->kill();
    broker_->start();
    correspondent_->comeBack();
    expectArrival("into nothing");
    expectOpenRoad("after");
}

TEST_F(LongBrokerFault, UntilTheClientsOwnTimerBringsItBack) {
    startConnected();
    broker_->kill();
    expectLoss();
    ASSERT_TRUE(client_->push().publish("news", "meanwhile"));
    client_->runFor(4s);
    broker_->start();
    correspondent_->comeBack();
    // Nobody calls connectToServer: three seconds after an error, and then six.
    EXPECT_TRUE(client_->runUntil([&] { return correspondent_->has("meanwhile"); }, 15s))
        << client_->failureText();
}

TEST_F(BrokerFault, FullOfConnections) {
    startConnected({.lines = {"max_connections 4"}});
    client_->push().disconnectFromServer();
    ASSERT_TRUE(client_->runUntil([&] { return client_->states.back() == "Disconnected"; }));
    std::vector<std::unique_ptr<sandbox::test::MqttTestClient>> others;
    do {
        others.push_back(std::make_unique<sandbox::test::MqttTestClient>(
            sandbox::test::MqttTestClient::Options{.clientId = "other-" + std::to_string(others.size()),
                                                   .port = broker_->port(),
                                                   .cleanSession = true}));
    } while (others.back()->connect() == 0 && others.size() < 10);
    ASSERT_LT(others.size(), 10U) << "there is no limit";
    client_->push().connectToServer();
    ASSERT_TRUE(client_->push().publish("news", "waits for room"));
    expectLoss();
    others.clear();
    expectArrival("waits for room");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, FullOfMessagesForTheClient) {
    startConnected({.lines = {"max_queued_messages 10", "max_inflight_messages 5"}});
    client_->push().disconnectFromServer();
    ASSERT_TRUE(client_->runUntil([&] { return client_->states.back() == "Disconnected"; }));
    for (int i = 0; i < 50; ++i) {
        correspondent_->send("many-" + std::to_string(i));
    }
    client_->push().connectToServer();
    // The broker keeps the first ones, as it was told, and drops the rest by itself.
    EXPECT_TRUE(client_->healUntil([&] { return client_->countOf("many-9") > 0; }));
    expectOpenRoad("after");
    EXPECT_LE(client_->messages.size(), 20U);
}

TEST_F(BrokerFault, OneMessageInFlightAtATime) {
    startConnected({.lines = {"max_inflight_messages 1"}});
    for (int i = 0; i < 60; ++i) {
        correspondent_->send("single-" + std::to_string(i));
    }
    EXPECT_TRUE(client_->healUntil([&] { return client_->countOf("single-59") > 0; }));
    expectOpenRoad("after");
}

TEST_F(BrokerFault, WithoutALimitInFlight) {
    startConnected({.lines = {"max_inflight_messages 0", "max_queued_messages 0"}});
    client_->push().disconnectFromServer();
    ASSERT_TRUE(client_->runUntil([&] { return client_->states.back() == "Disconnected"; }));
    for (int i = 0; i < 100; ++i) {
        correspondent_->send("flood-" + std::to_string(i));
    }
    client_->push().connectToServer();
    EXPECT_TRUE(client_->healUntil([&] { return client_->countOf("flood-99") > 0; }));
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(client_->countOf("flood-" + std::to_string(i)), 1U) << i;
    }
}

TEST_F(LongBrokerFault, OutOfMemory) {
    startConnected({.lines = {"memory_limit 3000000"}});
    const std::string large(200'000, 'x');
    for (int i = 0; i < 30; ++i) {
        ASSERT_TRUE(client_->push().publish("hoard", large));
    }
    client_->runFor(300ms);
    broker_->kill();
    broker_->setLines({});
    broker_->start();
    correspondent_->comeBack();
    expectPublished("behind it");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, DropsWhatIsOverItsPayloadLimit) {
    startConnected({.lines = {"message_size_limit 1000"}});
    ASSERT_TRUE(client_->push().publish("news", std::string(5'000, 'x')));
    expectPublished("behind it");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, EndsTheConnectionOnAPacketOverItsLimit) {
    startConnected({.lines = {"max_packet_size 2000"}});
    ASSERT_TRUE(client_->push().publish("news", std::string(5'000, 'x')));
    // What is over the limit is set aside after it was alone with three ends of the connection.
    expectPublished("behind it");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, GivesAPublicationUpThatItNeverTakes) {
    RealBroker::Options options;
    options.lines = {"max_packet_size 2000"};
    startConnected(options, retriesAtOnce());
    ASSERT_TRUE(client_->push().publish("news", std::string(5'000, 'x')));
    // Others of its kind pass meanwhile: it is not the broker that takes nothing.
    int others = 0;
    EXPECT_TRUE(client_->healUntil([&] {
        const bool hasLast = others == 0 || correspondent_->has("other-" + std::to_string(others));
        if (client_->isConnected() && hasLast) {
            (void)client_->push().publish("news", "other-" + std::to_string(++others));
        }
        return !client_->publishErrors.empty();
    }));
    ASSERT_EQ(client_->publishErrors.size(), 1U);
    EXPECT_EQ(client_->publishErrors.front().code, 109);
    expectOpenRoad("after");
}

TEST_F(BrokerFault, RefusesTheIdentityUntilItsListIsPutRight) {
    startConnected();
    broker_->end();
    broker_->setLines({"allow_anonymous false", "password_file " + broker_->folder() + "/nobody"});
    std::ofstream(broker_->folder() + "/nobody") << "";
    expectLoss();
    broker_->start();
    client_->push().connectToServer();
    EXPECT_TRUE(client_->runUntil([&] {
        return client_->failureText().find("not authorized") != std::string::npos;
    })) << client_->failureText();
    ASSERT_TRUE(client_->push().publish("news", "kept"));
    broker_->end();
    broker_->setLines({});
    broker_->start();
    correspondent_->comeBack();
    expectArrival("kept");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, GrantsNoTopicUntilItsListIsPutRight) {
    startConnected();
    broker_->end();
    broker_->forgetSessions();
    std::ofstream(broker_->folder() + "/acl") << "topic write app/#\n";
    broker_->setLines({"acl_file " + broker_->folder() + "/acl"});
    broker_->start();
    expectLoss();
    client_->push().connectToServer();
    ASSERT_TRUE(client_->runUntilConnected()) << client_->failureText();
    ASSERT_TRUE(client_->push().publish("news", "to nobody"));
    client_->runFor(50ms);
    EXPECT_TRUE(client_->isConnected()) << "a refused topic is no reason to end the connection";
    broker_->end();
    broker_->setLines({});
    broker_->start();
    correspondent_->comeBack();
    expectOpenRoad("after");
}

TEST_F(BrokerFault, LetsAnotherClientTakeTheIdOver) {
    startConnected();
    const std::string id = client_->push().brokerClientId().value();
    {
        sandbox::test::MqttTestClient twin({.clientId = id,
                                            .user = "user",
                                            .password = "password",
                                            .port = broker_->port(),
                                            .cleanSession = false});
        ASSERT_EQ(twin.connect(), 0);
        expectLoss();
        ASSERT_TRUE(client_->push().publish("news", "taken over"));
        twin.disconnect();
    }
    expectArrival("taken over");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, ForgetsTheSessionOfAClientThatIsAway) {
    startConnected();
    const std::string id = client_->push().brokerClientId().value();
    client_->push().disconnectFromServer();
    ASSERT_TRUE(client_->runUntil([&] { return client_->states.back() == "Disconnected"; }));
    {
        // A clean session in its name is the end of the one that was kept (MQTT 3.1.1, 3.1.2.4).
        sandbox::test::MqttTestClient twin({.clientId = id,
                                            .user = "user",
                                            .password = "password",
                                            .port = broker_->port(),
                                            .cleanSession = true});
        ASSERT_EQ(twin.connect(), 0);
        twin.disconnect();
    }
    client_->push().connectToServer();
    expectOpenRoad("after");
}

TEST_F(BrokerFault, TakesNoPublicationAtLeastOnceUntilItsLimitIsPutRight) {
    // What is alone at three ends is set aside for a while, which is short here.
    startConnected({}, retriesAtOnce());
    broker_->end();
    broker_->setLines({"max_qos 0"});
    broker_->start();
    expectLoss();
    ASSERT_TRUE(client_->push().publish("news", "kept"));
    EXPECT_TRUE(client_->healUntil([&] {
        return std::count(client_->states.begin(), client_->states.end(), "Error") >= 4;
    })) << "each end is told";
    broker_->end();
    broker_->setLines({});
    broker_->start();
    correspondent_->comeBack();
    expectArrival("kept");
    expectOpenRoad("after");
}

TEST_F(BrokerFault, EndedInOrderAndRestartedWithoutItsSession) {
    startConnected();
    broker_->end();
    broker_->forgetSessions();
    expectLoss();
    ASSERT_TRUE(client_->push().publish("news", "meanwhile"));
    broker_->start();
    correspondent_->comeBack();
    expectArrival("meanwhile");
    expectOpenRoad("after");
}

}  // namespace
}  // namespace xel::matrix
