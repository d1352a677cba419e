// A session, from each state that it can be in, on what a broker may send, with an owner that closes, drops,
// throws or holds its acknowledgement at some publication.
//
// Input: one octet for the state, one for the owner, one for the size of a read, then the broker's octets.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeNetwork.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"

namespace {

using namespace xel;

constexpr std::string_view kClient = "client";

void require(bool isTrue) {
    if (!isTrue) {
        std::abort();
    }
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
    std::set<std::uint16_t> deliveredIds;

    void handleEvent(MQTTSession&, MQTTSessionEvent event, const std::optional<NSError>& error) override {
        const bool isError =
            event != MQTTSessionEvent::Connected && event != MQTTSessionEvent::ConnectionClosed;
        require(isError == error.has_value());
        // Each connection ends once at most.
        if (event == MQTTSessionEvent::Connected) {
            require(!isConnected_);
            isConnected_ = true;
        } else {
            require(isAttempted);
            isAttempted = isConnected_ = false;
        }
    }

    void sessionWillDeliver(MQTTSession&) override {
        require(isConnected_);
        publicationsInTurn_ = 0;
    }

    void newMessage(MQTTSession& mine, const MQTTPublication& publication) override {
        const auto [data, topic, qos, retained, mid, isRepeat] = publication;
        require(isConnected_ && ++publicationsInTurn_ <= 24);
        require(isValidTopicName(topic) && (qos == 0 || qos == 1) && (mid != 0) == (qos == 1));
        deliveredIds.insert(mid);
        const std::string before(data);
        if (publications_++ == dueAt) {
            act(mine);
        }
        require(data == before);
    }

    void sessionDidDeliver(MQTTSession&, std::function<void()> acknowledge) override {
        if (manner == Manner::Holds) {
            held = std::move(acknowledge);
        } else {
            acknowledge();
        }
    }

    void subAckReceived(MQTTSession&, std::uint16_t msgID, std::span<const std::uint8_t> codes) override {
        require(isConnected_ && msgID != 0 && !codes.empty());
    }
    void unsubAckReceived(MQTTSession&, std::uint16_t msgID) override { require(isConnected_ && msgID != 0); }
    void topicWasRefused(MQTTSession&, std::string_view topic) override {
        require(isValidTopicFilter(topic));
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
        connection().setMostOctetsPerRead(readSize_);
        connection().feed(octets);
        run();
        if (auto held = std::exchange(owner_.held, nullptr)) {
            held();
            run();
        }
        if (owner_.manner == Manner::LosesItsDelegate && owner_.session) {
            owner_.session->setDelegate(&owner_);
            run();
        }
        check();
    }

    void end() {
        if (owner_.session) {
            owner_.session->close();
            require(owner_.session->status() != MQTTSessionStatus::Connected);
        }
        owner_.session.reset();
        run();
        check();
    }

private:
    void reach(State state) {
        const bool isClean = state == State::Clean;
        if (state == State::Restoring || isClean) {
            require(memory_.storeGrantedTopics(kClient, {{"a", 1}, {"b/#", 0}}).isOk());
        }
        MQTTSessionParameters parameters;
        parameters.clientId = kClient;
        parameters.keepAlive = std::chrono::seconds(60);
        parameters.cleanSession = isClean;
        MQTTSessionOptions options;
        options.maxPacketSize = 4096;
        MQTTClientSessionFactory factory(network_, clock_, nullptr, options);
        owner_.session = factory.makeSession(parameters, *loop_, memory_);
        owner_.session->setDelegate(&owner_);
        if (state == State::Publishing) {
            require(owner_.session->publishDataAtLeastOnce("early", "t", false).isOk());
        }
        owner_.isAttempted = true;
        owner_.session->connectToHost("host", 1, false);
        run();
        connection().accept();
        run();
        if (state == State::AwaitingConnack) {
            return;
        }
        connection().feed(encodeConnAck(state != State::Restoring && !isClean, 0));
        run();
        act(state);
        run();
    }

    void act(State state) {
        MQTTSession& session = *owner_.session;
        if (state == State::Requesting) {
            require(session.subscribeToTopics({{"a", 1}, {"b", 0}}).batches.at(0).packetId == 1);
            require(session.unsubscribeTopic("b").packetId == 2);
            require(session.subscribeToTopic("c", 1).batches.at(0).packetId == 3);
        } else if (state == State::Publishing) {
            require(session.publishDataAtLeastOnce("late", "t", true).isOk());
        } else if (state == State::TurnOpen) {
            connection().feed(encodePublish("t", "x", 1, false, false, 1));
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

    // What the client wrote reads as MQTT, and acknowledges only what the owner has had.
    void check() {
        for (const auto& connection : network_->connections()) {
            FakeBrokerPacketReader reader;
            require(reader.feed(connection->written()));
            while (const auto packet = reader.next()) {
                require(packet->type != FakeBrokerPacketType::PubAck ||
                        owner_.deliveredIds.contains(packet->packetId));
            }
        }
    }

    FakeConnection& connection() { return *network_->connections().front(); }

    std::size_t readSize_;
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>(loop_);
    std::shared_ptr<FakeNetwork> network_ = std::make_shared<FakeNetwork>();
    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
    InMemorySessionMemory memory_{disk_};
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
