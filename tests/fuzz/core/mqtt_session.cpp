// A session, from each state that it can be in, on what a broker may send, with an owner that closes,
// drops, throws or holds its acknowledgement at some publication: each publication is delivered once and in
// order, and acknowledged in that order, not before it was delivered.
//
// Input: one octet for the state, one for the owner, one for the size of a read, then the broker's octets.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"
#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeNetwork.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

constexpr std::string_view kClient = "client";
constexpr std::size_t kLargestPacket = 4096;
constexpr std::size_t kLargestTurn = 24;

struct Delivered {
    std::string topic;
    std::string data;
    std::uint16_t mid = 0;

    friend bool operator==(const Delivered&, const Delivered&) = default;
};

/// What the broker published, as far as its octets are packets.
std::vector<Delivered> publicationsIn(std::string_view octets) {
    std::vector<Delivered> published;
    MQTTDecoder decoder(kLargestPacket);
    MQTTInboundPacket packet;
    while (decoder.decode(octets, packet) == MQTTDecoding::Complete) {
        if (packet.type == MQTTPacketType::Publish) {
            published.push_back({std::string(packet.topic), std::string(packet.payload), packet.packetId});
        }
    }
    return published;
}

template <class T>
bool isBeginningOf(const std::vector<T>& part, const std::vector<T>& whole) {
    return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

enum class State {
    AwaitingConnack,
    Connected,
    Requesting,
    Restoring,
    Publishing,
    TurnOpen,
    Pinging,
    Clean,
    Resumed,
    Count
};
enum class Manner {
    Plain,
    Closes,
    Drops,
    Throws,
    Reconnects,
    Holds,
    LosesItsDelegate,
    ClosesAndThrows,
    Count
};

class Owner final : public MQTTSessionDelegate {
public:
    std::shared_ptr<MQTTSession> session;
    Manner manner = Manner::Plain;
    std::size_t dueAt = 0;  // the publication at which it acts
    std::function<void()> held;
    std::vector<Delivered> delivered;

    void handleEvent(MQTTSession&, MQTTSessionEvent event, const std::optional<NSError>& error) override {
        const bool isError =
            event != MQTTSessionEvent::Connected && event != MQTTSessionEvent::ConnectionClosed;
        require(isError == error.has_value(), "an end has an error unless the owner asked for it");
        // Each connection ends once at most.
        if (event == MQTTSessionEvent::Connected) {
            require(!isConnected_, "a connection is connected once");
            isConnected_ = true;
        } else {
            require(isAttempted, "a connection ends once");
            isAttempted = isConnected_ = false;
        }
    }

    void sessionWillDeliver(MQTTSession&) override {
        require(isConnected_, "a turn has its connection");
        publicationsInTurn_ = 0;
    }

    void newMessage(MQTTSession& mine, const MQTTPublication& publication) override {
        const auto [data, topic, qos, retained, mid, isRepeat] = publication;
        require(isConnected_ && ++publicationsInTurn_ <= kLargestTurn, "a turn has 24 publications at most");
        require(isValidTopicName(topic), "a publication has a topic's name");
        require((qos == 0 || qos == 1) && (mid != 0) == (qos == 1), "an identifier goes with QoS 1");
        delivered.push_back({std::string(topic), std::string(data), mid});
        const std::string before(data);
        if (publications_++ == dueAt) {
            act(mine);
        }
        require(data == before, "a publication stays while its owner has it");
    }

    void sessionDidDeliver(MQTTSession&, std::function<void()> acknowledge) override {
        if (manner == Manner::Holds) {
            held = std::move(acknowledge);
        } else {
            acknowledge();
        }
    }

    void subAckReceived(MQTTSession&, std::uint16_t msgID, std::span<const std::uint8_t> codes) override {
        require(isConnected_ && msgID != 0 && !codes.empty(), "a SUBACK answers something");
    }
    void unsubAckReceived(MQTTSession&, std::uint16_t msgID) override {
        require(isConnected_ && msgID != 0, "an UNSUBACK answers something");
    }
    void topicWasRefused(MQTTSession&, std::string_view topic) override {
        require(isValidTopicFilter(topic), "a refused topic is a filter");
    }
    void publicationDidFail(MQTTSession&, std::string_view, std::string_view, const NSError&) override {}
    void subscriptionDidFail(MQTTSession&, std::string_view, const NSError&) override {}
    void unsubscriptionDidFail(MQTTSession&, std::string_view, const NSError&) override {}

    bool isAttempted = false;

private:
    void act(MQTTSession& mine) {
        switch (manner) {
            case Manner::Closes: mine.close(); break;
            case Manner::Drops: session.reset(); break;
            case Manner::Throws: throw std::runtime_error("the owner's");
            case Manner::Reconnects:
                mine.close();
                isAttempted = true;
                mine.connectToHost("second", 1, false);
                break;
            case Manner::LosesItsDelegate: mine.setDelegate(nullptr); break;
            case Manner::ClosesAndThrows: mine.close(); throw std::runtime_error("the owner's");
            default: break;
        }
    }

    bool isConnected_ = false;
    std::size_t publicationsInTurn_ = 0;
    std::size_t publications_ = 0;
};

class Play {
public:
    Play(State state, Manner manner, std::size_t dueAt, std::size_t readSize) : readSize_(readSize) {
        owner_.manner = manner;
        owner_.dueAt = dueAt;
        reach(state);
    }

    ~Play() {
        owner_.session.reset();
        loop_->discardEverything();
    }
    Play(const Play&) = delete;
    Play& operator=(const Play&) = delete;

    void feed(std::string_view octets) {
        fed_->setMostOctetsPerRead(readSize_);
        fedOctets_ += octets;
        fed_->feed(octets);
        run();
        while (auto held = std::exchange(owner_.held, nullptr)) {
            held();
            run();
        }
        if (owner_.manner == Manner::LosesItsDelegate && owner_.session) {
            owner_.session->setDelegate(&owner_);
            run();
        }
        check();
        if (owner_.session && owner_.session->status() == MQTTSessionStatus::Connected && !hasOneMore()) {
            require(owner_.delivered.size() == publicationsIn(fedOctets_).size(), "everything is delivered");
            require(acknowledged(*fed_) == identifiersDelivered(), "everything delivered is acknowledged");
        }
    }

    void end() {
        if (owner_.session) {
            owner_.session->close();
            require(owner_.session->status() != MQTTSessionStatus::Connected, "a closed session is closed");
        }
        owner_.session.reset();
        run();
        check();
    }

private:
    void reach(State state) {
        const bool isClean = state == State::Clean;
        if (state == State::Restoring || isClean) {
            require(memory_.storeGrantedTopics(kClient, {{"a", 1}, {"b/#", 0}}).isOk(), "topics are stored");
        }
        MQTTSessionParameters parameters;
        parameters.clientId = kClient;
        parameters.keepAlive = std::chrono::seconds(60);
        parameters.cleanSession = isClean;
        MQTTSessionOptions options;
        options.maxPacketSize = kLargestPacket;
        MQTTClientSessionFactory factory(network_, clock_, nullptr, options);
        owner_.session = factory.makeSession(parameters, *loop_, memory_);
        owner_.session->setDelegate(&owner_);
        if (state == State::Publishing) {
            require(owner_.session->publishDataAtLeastOnce("early", "t", false).isOk(), "it is taken");
        }
        connect();
        if (state == State::AwaitingConnack) {
            return;
        }
        feedQuietly(encodeConnAck(state != State::Restoring && !isClean, 0));
        act(state);
        run();
    }

    void connect() {
        owner_.isAttempted = true;
        owner_.session->connectToHost("host", 1, false);
        run();
        fed_ = network_->latest();
        fed_->accept();
        run();
    }

    void feedQuietly(const std::string& octets) {
        fedOctets_ += octets;
        fed_->feed(octets);
        run();
    }

    /// The connection is lost after a turn, and the session resumed: what was acknowledged may come again.
    void resume() {
        const Manner manner = std::exchange(owner_.manner, Manner::Plain);
        feedQuietly(encodePublish("t", "x", 1, false, false, 1));
        fed_->fail(ByteStreamErrorCode::ConnectionLost, "the network is gone");
        run();
        owner_.manner = manner;
        owner_.delivered.clear();
        fedOctets_.clear();
        connect();
        feedQuietly(encodeConnAck(true, 0));
    }

    void act(State state) {
        MQTTSession& session = *owner_.session;
        if (state == State::Requesting) {
            require(session.subscribeToTopics({{"a", 1}, {"b", 0}}).batches.at(0).packetId == 1, "1 is free");
            require(session.unsubscribeTopic("b").packetId == 2, "2 is free");
            require(session.subscribeToTopic("c", 1).batches.at(0).packetId == 3, "3 is free");
        } else if (state == State::Publishing) {
            require(session.publishDataAtLeastOnce("late", "t", true).isOk(), "it is taken");
        } else if (state == State::TurnOpen) {
            feedQuietly(encodePublish("t", "x", 1, false, false, 1));
        } else if (state == State::Resumed) {
            resume();
        } else if (state == State::Pinging) {
            loop_->advanceBy(std::chrono::seconds(60));
        }
    }

    void run() {
        for (int attempt = 0; attempt < 100; ++attempt) {
            try {
                loop_->runUntilIdle();
                return;
            } catch (const std::runtime_error&) {
                // The owner's own: a host that runs its loop again.
            }
        }
    }

    // What was delivered is what was sent, from its beginning; the client wrote MQTT, and acknowledged what
    // it had delivered, in that order.
    void check() {
        require(isBeginningOf(owner_.delivered, publicationsIn(fedOctets_)),
                "it is delivered once, in order");
        for (const auto& connection : network_->connections()) {
            (void)acknowledged(*connection);
        }
        require(isBeginningOf(acknowledged(*fed_), identifiersDelivered()), "what is acknowledged was had");
    }

    static std::vector<std::uint16_t> acknowledged(const FakeConnection& connection) {
        std::vector<std::uint16_t> identifiers;
        FakeBrokerPacketReader reader;
        require(reader.feed(connection.written()), "the client writes MQTT");
        while (const auto packet = reader.next()) {
            if (packet->type == FakeBrokerPacketType::PubAck) {
                identifiers.push_back(packet->packetId);
            }
        }
        return identifiers;
    }

    std::vector<std::uint16_t> identifiersDelivered() const {
        std::vector<std::uint16_t> identifiers;
        for (const auto& delivered : owner_.delivered) {
            if (delivered.mid != 0) {
                identifiers.push_back(delivered.mid);
            }
        }
        return identifiers;
    }

    /// Whether the owner has opened a second connection, on which nothing comes.
    bool hasOneMore() const { return network_->latest() != fed_; }

    std::size_t readSize_;
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>(loop_);
    std::shared_ptr<FakeNetwork> network_ = std::make_shared<FakeNetwork>();
    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
    InMemorySessionMemory memory_{disk_};
    std::shared_ptr<FakeConnection> fed_;
    std::string fedOctets_;
    Owner owner_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kHeader = 3;
    if (size < kHeader) {
        return 0;
    }
    const auto state = static_cast<State>(data[0] % static_cast<unsigned>(State::Count));
    const auto manner = static_cast<Manner>(data[1] % static_cast<unsigned>(Manner::Count));
    const std::size_t dueAt = data[1] / static_cast<unsigned>(Manner::Count);
    const std::size_t readSize = data[2] == 0 ? 65'536 : data[2];
    Play play(state, manner, dueAt, readSize);
    play.feed({reinterpret_cast<const char*>(data) + kHeader, size - kHeader});
    play.end();
    return 0;
}
