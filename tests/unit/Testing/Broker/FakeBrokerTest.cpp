#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/Broker/FakeBroker.h"
#include "XelPushClient/Testing/FakeNetwork.h"

// The broker is talked to in octets written down from the standard, so that a mistake shared with the
// library's own engine would still be seen.

namespace xel {
namespace {

std::string octets(std::initializer_list<unsigned> numbers) {
    std::string text;
    for (const unsigned number : numbers) {
        text += static_cast<char>(number);
    }
    return text;
}

/// CONNECT of the client id "c", clean session off, keep-alive 60 s.
std::string connectPacket(unsigned flags = 0) {
    return octets({0x10, 13, 0, 4}) + "MQTT" + octets({4, flags, 0, 60, 0, 1}) + "c";
}

/// SUBSCRIBE with packet id 1 to "t" at QoS 1.
std::string subscribePacket() {
    return octets({0x82, 6, 0, 1, 0, 1}) + "t" + octets({1});
}

/// PUBLISH to "t", as the broker sends it.
std::string publishPacket(std::uint16_t packetId, std::string_view payload, bool dup = false) {
    return octets({dup ? 0x3AU : 0x32U, static_cast<unsigned>(5 + payload.size()), 0, 1}) + "t" +
           octets({static_cast<unsigned>(packetId) >> 8U, packetId & 0xFFU}) + std::string(payload);
}

std::string pubAck(unsigned packetId) {
    return octets({0x40, 2, packetId >> 8U, packetId & 0xFFU});
}

class Client final : public ByteStreamObserver {
public:
    Client(FakeNetwork& network, FakeRunLoop& loop) : loop_(loop), stream_(network.makeStream(loop, *this)) {
        stream_->open("broker", 1880, false);
        loop_.runUntilIdle();
    }

    void send(const std::string& packet) {
        stream_->write(packet);
        loop_.runUntilIdle();
    }

    /// What has arrived since the last call.
    std::string take() { return std::exchange(received_, {}); }

    void streamDidOpen() override {
        isOpen = true;
        stream_->receive();
    }
    void streamDidReceive(std::string_view octets) override {
        received_ += octets;
        stream_->receive();
    }
    void streamDidEndByPeer() override { hasEnded = true; }
    void streamDidFail(const NSError&) override { hasFailed = true; }

    bool isOpen = false;
    bool hasEnded = false;
    bool hasFailed = false;

private:
    FakeRunLoop& loop_;
    std::string received_;
    std::unique_ptr<ByteStream> stream_;
};

class FakeBrokerTest : public ::testing::Test {
protected:
    std::unique_ptr<Client> connectedClient(unsigned flags = 0) {
        auto client = std::make_unique<Client>(network_, loop_);
        client->send(connectPacket(flags));
        return client;
    }

    std::unique_ptr<Client> subscribedClient() {
        auto client = connectedClient();
        client->send(subscribePacket());
        EXPECT_EQ(client->take(), octets({0x20, 2, 0, 0}) + octets({0x90, 3, 0, 1, 1}));
        return client;
    }

    void publish(const std::string& payload, int qos = 1) {
        broker_.publish({"t", payload, qos, false});
        loop_.runUntilIdle();
    }

    FakeRunLoop loop_;
    FakeNetwork network_;
    FakeBroker broker_{network_, loop_};
};

TEST_F(FakeBrokerTest, AnswersConnectAndTellsOfAKeptSession) {
    auto client = connectedClient();
    EXPECT_EQ(client->take(), octets({0x20, 2, 0, 0}));
    EXPECT_TRUE(broker_.isConnected("c"));
    client.reset();
    loop_.runUntilIdle();
    EXPECT_FALSE(broker_.isConnected("c"));
    client = connectedClient();
    EXPECT_EQ(client->take(), octets({0x20, 2, 1, 0}));
    const auto clean = connectedClient(2);
    EXPECT_EQ(clean->take(), octets({0x20, 2, 0, 0}));
    EXPECT_TRUE(client->hasEnded) << "the newer connection of a client id wins";
}

TEST_F(FakeBrokerTest, ForgetsACleanSessionWithItsConnection) {
    auto client = connectedClient(2);
    EXPECT_TRUE(broker_.hasSession("c"));
    client.reset();
    loop_.runUntilIdle();
    EXPECT_FALSE(broker_.hasSession("c"));
}

TEST_F(FakeBrokerTest, RefusesAndEndsTheConnection) {
    broker_.setConnectReturnCode(5);
    const auto client = connectedClient();
    EXPECT_EQ(client->take(), octets({0x20, 2, 0, 5}));
    EXPECT_TRUE(client->hasEnded);
    EXPECT_FALSE(broker_.hasSession("c"));
}

TEST_F(FakeBrokerTest, PublishesToSubscribersAtTheGrantedQuality) {
    const auto client = subscribedClient();
    publish("one");
    EXPECT_EQ(client->take(), publishPacket(1, "one"));
    publish("two", 0);
    EXPECT_EQ(client->take(), octets({0x30, 6, 0, 1}) + "ttwo");
    broker_.publish({"another", "x", 1, false});
    loop_.runUntilIdle();
    EXPECT_EQ(client->take(), "");
    client->send(pubAck(1));
    EXPECT_EQ(broker_.unacknowledgedCount("c"), 0U);
}

TEST_F(FakeBrokerTest, KeepsTwentyInFlightAndTheRestInOrder) {
    const auto client = subscribedClient();
    std::string first;
    for (int i = 1; i <= 25; ++i) {
        publish(std::to_string(i));
        if (i <= 20) {
            first += publishPacket(static_cast<std::uint16_t>(i), std::to_string(i));
        }
    }
    EXPECT_EQ(client->take(), first);
    EXPECT_EQ(broker_.unacknowledgedCount("c"), 25U);
    client->send(pubAck(1) + pubAck(2));
    EXPECT_EQ(client->take(), publishPacket(21, "21") + publishPacket(22, "22"));
}

TEST_F(FakeBrokerTest, SendsAgainAsDuplicateWhatWasNotAcknowledgedThenWhatWasQueued) {
    auto client = subscribedClient();
    publish("one");
    publish("two");
    client->send(pubAck(1));
    client.reset();
    loop_.runUntilIdle();
    publish("three");
    publish("lost", 0);
    client = connectedClient();
    EXPECT_EQ(client->take(),
              octets({0x20, 2, 1, 0}) + publishPacket(2, "two", true) + publishPacket(3, "three"));
}

TEST_F(FakeBrokerTest, WithholdsAndReleasesAnswers) {
    const auto client = subscribedClient();
    broker_.setWithholding(FakeBrokerPacketType::SubAck, true);
    client->send(subscribePacket());
    EXPECT_EQ(client->take(), "");
    broker_.releaseWithheld(FakeBrokerPacketType::SubAck);
    loop_.runUntilIdle();
    EXPECT_EQ(client->take(), octets({0x90, 3, 0, 1, 1}));
}

TEST_F(FakeBrokerTest, GivesARetainedMessageToANewSubscriber) {
    broker_.publish({"t", "kept", 1, true});
    const auto client = connectedClient();
    client->take();
    client->send(subscribePacket());
    EXPECT_EQ(client->take(),
              octets({0x90, 3, 0, 1, 1}) + octets({0x33, 9, 0, 1}) + "t" + octets({0, 1}) + "kept");
}

TEST_F(FakeBrokerTest, EndsTheConnectionOfAClientThatBreaksTheProtocol) {
    struct Case {
        std::string name;
        std::string packet;
    };
    const Case cases[] = {
        {"second CONNECT", connectPacket()},
        {"reserved flags", octets({0xC1, 0})},
        {"SUBSCRIBE without its flags", octets({0x80, 6, 0, 1, 0, 1}) + "t" + octets({1})},
        {"SUBSCRIBE with reserved bits", octets({0x82, 6, 0, 1, 0, 1}) + "t" + octets({5})},
        {"SUBSCRIBE without topics", octets({0x82, 2, 0, 1})},
        {"packet id 0", octets({0x82, 6, 0, 0, 0, 1}) + "t" + octets({1})},
        {"PUBLISH to a filter", octets({0x30, 3, 0, 1}) + "#"},
        {"PUBLISH at QoS 2", octets({0x34, 5, 0, 1}) + "t" + octets({0, 1})},
        {"PUBLISH at QoS 0 with the duplicate flag", octets({0x38, 3, 0, 1}) + "t"},
        {"a topic that is not UTF-8", octets({0x30, 3, 0, 1, 0xFF})},
        {"a topic with a null character", octets({0x30, 3, 0, 1, 0})},
        {"PUBACK of an unknown packet", pubAck(9)},
        {"octets behind a packet", octets({0x40, 3, 0, 1, 0})},
        {"a length of five octets", octets({0x30, 0xFF, 0xFF, 0xFF, 0xFF, 1})},
        {"a broker's packet", octets({0xD0, 0})},
    };
    for (const auto& [name, packet] : cases) {
        const auto before = broker_.faults().size();
        const auto client = connectedClient();
        client->send(packet);
        EXPECT_TRUE(client->hasFailed) << name;
        EXPECT_EQ(broker_.faults().size(), before + 1) << name;
    }
}

TEST_F(FakeBrokerTest, EndsTheConnectionOfASilentClient) {
    const auto client = connectedClient();
    loop_.advanceBy(std::chrono::seconds(89));
    EXPECT_TRUE(broker_.faults().empty());
    client->send(octets({0xC0, 0}));
    loop_.advanceBy(std::chrono::seconds(89));
    EXPECT_TRUE(broker_.isConnected("c"));
    loop_.advanceBy(std::chrono::seconds(2));
    EXPECT_FALSE(broker_.isConnected("c"));
    EXPECT_EQ(broker_.faults().size(), 1U);
}

TEST_F(FakeBrokerTest, ReadsPacketsCutAnywhere) {
    auto client = std::make_unique<Client>(network_, loop_);
    for (const char octet : connectPacket() + subscribePacket()) {
        client->send(std::string(1, octet));
    }
    EXPECT_EQ(client->take(), octets({0x20, 2, 0, 0}) + octets({0x90, 3, 0, 1, 1}));
}

TEST(TopicMatchesFilter, FollowsTheStandard) {
    EXPECT_TRUE(topicMatchesFilter("a/b", "a/b"));
    EXPECT_TRUE(topicMatchesFilter("a/b", "a/+"));
    EXPECT_TRUE(topicMatchesFilter("a/b/c", "a/#"));
    EXPECT_TRUE(topicMatchesFilter("a", "a/#"));
    EXPECT_TRUE(topicMatchesFilter("a/", "a/+"));
    EXPECT_FALSE(topicMatchesFilter("a/b/c", "a/+"));
    EXPECT_FALSE(topicMatchesFilter("a", "a/+"));
    EXPECT_FALSE(topicMatchesFilter("a/b", "a"));
    EXPECT_FALSE(topicMatchesFilter("b", "a/#"));
}

}  // namespace
}  // namespace xel
