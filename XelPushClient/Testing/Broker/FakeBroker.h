#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Testing/Broker/FakeBrokerAnswers.h"
#include "XelPushClient/Testing/Broker/FakeBrokerObserver.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "XelPushClient/Testing/Broker/FakeBrokerRules.h"
#include "XelPushClient/Testing/Broker/FakeBrokerSessions.h"
#include "XelPushClient/Testing/FakeNetwork.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {

/// A broker (MQTT 3.1.1, quality of service 0 and 1) at the far end of a `FakeNetwork`.
///
/// Keeps a session for each client id that asks for one: subscriptions, some unacknowledged publications
/// (20, unless told otherwise) in flight, the rest queued in order, also while the client is away, and
/// sent again with the duplicate flag after it has come back. A client that breaks the protocol loses
/// its connection, and `faults` tells. Thread: the run loop it was made with.
class FakeBroker {
public:
    /// Takes every connection of the network from now on. Both outlive the broker.
    FakeBroker(FakeNetwork& network, FakeRunLoop& runLoop);
    ~FakeBroker();
    FakeBroker(const FakeBroker&) = delete;
    FakeBroker& operator=(const FakeBroker&) = delete;

    // What it answers.

    /// While not listening, connection attempts fail (ConnectFailed).
    void setListening(bool isListening) { isListening_ = isListening; }
    /// The next attempts wait, neither accepted nor refused, until `acceptWaitingConnections`.
    void setHoldingConnections(bool isHolding) { isHoldingConnections_ = isHolding; }
    void acceptWaitingConnections();
    /// The transport error with which attempts fail; none: they succeed.
    void setConnectFailure(std::optional<std::pair<ByteStreamErrorCode, std::string>> failure) {
        connectFailure_ = std::move(failure);
    }
    /// The return code of CONNACK; 0 accepts. 4 and 5 refuse the identity.
    void setConnectReturnCode(std::uint8_t code) { rules_.connectReturnCode = code; }
    /// Only this identity is accepted; others get return code 4.
    void setCredentials(std::string userName, std::string password) {
        rules_.credentials.emplace(std::move(userName), std::move(password));
    }
    /// The return code for subscriptions to the topic: 0, 1, or 0x80 for a refusal. Unless set: what was
    /// asked for.
    void setGrantedCode(std::string topic, std::uint8_t code) {
        rules_.grantedCodes[std::move(topic)] = code;
    }
    void clearGrantedCode(std::string_view topic);
    void clearGrantedCodes() { rules_.grantedCodes.clear(); }
    /// While silent it takes connections and octets and neither reads nor sends anything, as a process
    /// does that hangs. Afterwards it goes on with what has come meanwhile.
    void setSilent(bool isSilent);
    /// Withholds answers of that kind (ConnAck, PubAck, SubAck, UnsubAck, PingResp) until
    /// `releaseWithheld`.
    void setWithholding(FakeBrokerPacketType answer, bool isWithholding) {
        answers_.setWithholding(answer, isWithholding);
    }
    using Order = FakeBrokerAnswers::Order;
    /// Sends what was withheld of that kind, and answers at once from then on.
    void releaseWithheld(FakeBrokerPacketType answer, Order order = Order::AsAsked) {
        answers_.release(answer, order);
    }
    /// Sends answers of that kind so much later; zero: at once.
    void setDelay(FakeBrokerPacketType answer, std::chrono::milliseconds delay) {
        answers_.setDelay(answer, delay);
    }
    /// Gathers answers of that kind for so long and sends the last first; zero: as they were asked for.
    void setReversing(FakeBrokerPacketType answer, std::chrono::milliseconds window) {
        answers_.setReversing(answer, window);
    }
    /// Ends the connection on a PUBLISH, SUBSCRIBE or UNSUBSCRIBE of that topic instead of acknowledging it,
    /// as MQTT 3.1.1 section 3.3.5 lets a broker do.
    void setEndingOn(std::string topic, bool isEnding);
    /// Ends the connection of everybody who publishes, as a broker whose disk is full may.
    void setEndingOnEveryPublication(bool isEnding) { rules_.isEndingOnEveryPublication = isEnding; }
    /// At most so many publications are sent to a client before it has acknowledged some; 20 at first.
    /// 65535 is no limit.
    void setMostInFlight(std::size_t most) { sessions_.sending.mostInFlight = most; }
    /// Sends each publication at least once a second time at once, as a duplicate.
    void setRepeating(bool isRepeating) { sessions_.sending.isRepeating = isRepeating; }
    /// While it does not, a session ends with its connection and no client finds one of an earlier
    /// connection.
    void setKeepingSessions(bool isKeeping) { isKeepingSessions_ = isKeeping; }
    /// Loses every PUBACK from clients, as a connection does that ends before they arrive.
    void setLosingAcknowledgements(bool isLosing) { isLosingAcknowledgements_ = isLosing; }
    /// At most so many octets reach a client in one read; 64 KiB at first.
    void setMostOctetsPerRead(std::size_t most);

    // What it does by itself.

    /// Publishes to every session that subscribed to the topic, now or when its client comes back.
    void publish(const FakeBrokerPublication& publication);
    /// Publishes to one client's session whatever it subscribed to. False when there is no such session.
    bool publishTo(std::string_view clientId, const FakeBrokerPublication& publication);
    /// Sends octets as they are to every connected client: for packets that break the rules.
    void sendOctets(std::string_view octets);
    /// Loses every connection, as a network does (ConnectionLost).
    void dropConnections();
    /// Resets every connection (ConnectionReset), as a broker does that is killed.
    void resetConnections();
    /// Closes every connection in order, as a broker does that shuts down.
    void endConnections();
    /// Forgets every session and retained message, as a broker does that restarts without persistence.
    void forgetSessions();

    // What it has seen.

    /// Every packet that clients have sent.
    [[nodiscard]] const std::vector<FakeBrokerRecord>& records() const { return records_; }
    [[nodiscard]] std::vector<FakeBrokerPacket> packetsOfType(FakeBrokerPacketType type) const;
    void clearRecords() { records_.clear(); }
    /// Until it is removed; it outlives that, or the broker.
    void addObserver(FakeBrokerObserver& observer) { observers_.push_back(&observer); }
    void removeObserver(FakeBrokerObserver& observer) { std::erase(observers_, &observer); }
    /// Breaches of the protocol by clients. A test that expects none says so at its end.
    [[nodiscard]] const std::vector<std::string>& faults() const { return faults_; }
    [[nodiscard]] bool isConnected(std::string_view clientId) const;
    [[nodiscard]] std::size_t connectedCount() const;
    [[nodiscard]] bool hasSession(std::string_view clientId) const {
        return sessions_.find(clientId) != nullptr;
    }
    [[nodiscard]] TopicTable subscriptionsOf(std::string_view clientId) const;
    /// Publications to that client which it has not acknowledged, in flight and queued.
    [[nodiscard]] std::size_t unacknowledgedCount(std::string_view clientId) const;

private:
    struct Client;
    using ClientPointer = std::shared_ptr<Client>;

    void take(const std::shared_ptr<FakeConnection>& connection);
    void accept(const std::shared_ptr<FakeConnection>& connection);
    void takeOctets(const ClientPointer& client, std::string_view octets);
    void takePacket(const ClientPointer& client, const FakeBrokerPacket& packet);
    void takeConnect(const ClientPointer& client, const FakeBrokerConnect& connect);
    void takePublish(const ClientPointer& client, const FakeBrokerPacket& packet);
    void takePubAck(const ClientPointer& client, std::uint16_t packetId);
    void takeSubscribe(const ClientPointer& client, const FakeBrokerPacket& packet);
    void takeUnsubscribe(const ClientPointer& client, const FakeBrokerPacket& packet);
    void becomeReady(const ClientPointer& client);
    void answer(const ClientPointer& client, FakeBrokerPacket packet);
    void answer(const ClientPointer& client, FakeBrokerPacketType type, std::uint16_t packetId);
    void send(const ClientPointer& client, const FakeBrokerPacket& packet);
    void wake(const ClientPointer& client);
    template <class Operation, class... Arguments>
    void tell(Operation operation, const Arguments&... arguments) const;
    void loseConnections(ByteStreamErrorCode code);
    void breach(const ClientPointer& client, std::string_view fault);
    void forgetClient(const ClientPointer& client);
    void watchKeepAlive(const ClientPointer& client);

    FakeNetwork& network_;
    FakeRunLoop& runLoop_;
    FakeBrokerRules rules_;
    FakeBrokerSessions sessions_;
    FakeBrokerAnswers answers_;
    std::vector<ClientPointer> clients_;
    std::vector<std::shared_ptr<FakeConnection>> waiting_;
    std::optional<std::pair<ByteStreamErrorCode, std::string>> connectFailure_;
    bool isLosingAcknowledgements_ = false;
    std::size_t mostOctetsPerRead_ = 65536;
    bool isListening_ = true;
    bool isHoldingConnections_ = false;
    bool isSilent_ = false;
    bool isKeepingSessions_ = true;
    std::vector<FakeBrokerObserver*> observers_;
    std::vector<FakeBrokerRecord> records_;
    std::vector<std::string> faults_;
    Lifeline<FakeBroker> life_{*this};
};

}  // namespace xel
