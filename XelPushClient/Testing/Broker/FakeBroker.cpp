#include "XelPushClient/Testing/Broker/FakeBroker.h"

#include <algorithm>
#include <utility>

namespace xel {

/// One connection, from its acceptance to its end.
struct FakeBroker::Client {
    std::shared_ptr<FakeConnection> connection;
    FakeBrokerPacketReader reader;
    std::string clientId;
    std::shared_ptr<FakeBrokerSession> session;  ///< set once CONNECT was accepted
    bool hasConnected = false;                   ///< CONNECT was read
    bool isReady = false;                        ///< CONNACK was sent: publications may follow
    std::chrono::seconds keepAlive{0};
    FakeRunLoop::Duration lastHeard{0};
};

FakeBroker::FakeBroker(FakeNetwork& network, FakeRunLoop& runLoop) : network_(network), runLoop_(runLoop) {
    network_.setConnectionHandler([this](const auto& connection) { take(connection); });
}

FakeBroker::~FakeBroker() {
    network_.setConnectionHandler(nullptr);
    for (const auto& client : clients_) {
        client->connection->setOctetsHandler(nullptr);
        client->connection->setClosedHandler(nullptr);
    }
}

void FakeBroker::take(const std::shared_ptr<FakeConnection>& connection) {
    if (!isListening_) {
        connection->fail(ByteStreamErrorCode::ConnectFailed, "connection refused");
    } else if (connectFailure_) {
        connection->fail(connectFailure_->first, connectFailure_->second);
    } else if (isHoldingConnections_) {
        waiting_.push_back(connection);
    } else {
        accept(connection);
    }
}

void FakeBroker::acceptWaitingConnections() {
    isHoldingConnections_ = false;
    for (const auto& connection : std::exchange(waiting_, {})) {
        if (connection->state() == FakeConnectionState::Opening) {
            accept(connection);
        }
    }
}

void FakeBroker::accept(const std::shared_ptr<FakeConnection>& connection) {
    auto client = std::make_shared<Client>();
    client->connection = connection;
    client->lastHeard = runLoop_.elapsed();
    connection->setMostOctetsPerRead(mostOctetsPerRead_);
    clients_.push_back(client);
    const std::weak_ptr<Client> weak = client;
    connection->setOctetsHandler([this, weak](std::string_view octets) {
        if (const auto speaker = weak.lock()) {
            takeOctets(speaker, octets);
        }
    });
    connection->setClosedHandler([this, weak] {
        if (const auto speaker = weak.lock()) {
            forgetClient(speaker);
        }
    });
    connection->accept();
}

void FakeBroker::takeOctets(const ClientPointer& client, std::string_view octets) {
    client->lastHeard = runLoop_.elapsed();
    const bool isSound = client->reader.feed(octets);
    // What was whole before the fault still counts.
    while (const auto packet = client->reader.next()) {
        takePacket(client, *packet);
    }
    if (!isSound) {
        breach(client, client->reader.fault());
    }
}

void FakeBroker::setWithholding(FakeBrokerPacketType answer, bool isWithholding) {
    if (isWithholding) {
        withholding_.insert(answer);
    } else {
        withholding_.erase(answer);
    }
}

void FakeBroker::answer(const ClientPointer& client, FakeBrokerPacketType type, std::string octets) {
    if (withholding_.contains(type)) {
        withheld_.push_back({type, {client, std::move(octets)}});
        return;
    }
    client->connection->feed(octets);
    if (type == FakeBrokerPacketType::ConnAck && client->session) {
        // CONNACK comes first ([MQTT-3.2.0-1]), so publications wait for one that is withheld.
        becomeReady(client);
    }
}

void FakeBroker::releaseWithheld(FakeBrokerPacketType type, Order order) {
    withholding_.erase(type);
    auto withheld = std::exchange(withheld_, {});
    if (order == Order::Reversed) {
        std::reverse(withheld.begin(), withheld.end());
    }
    for (auto& [kind, packet] : withheld) {
        const auto client = packet.first.lock();
        if (kind != type) {
            withheld_.emplace_back(kind, packet);
        } else if (client) {
            answer(client, type, std::move(packet.second));
        }
    }
}

void FakeBroker::publish(const FakeBrokerPublication& publication) {
    sessions_.publish(publication);
}

bool FakeBroker::publishTo(std::string_view clientId, const FakeBrokerPublication& publication) {
    FakeBrokerSession* const session = sessions_.find(clientId);
    if (session == nullptr) {
        return false;
    }
    session->deliver(publication);
    return true;
}

void FakeBroker::sendOctets(std::string_view octets) {
    for (const auto& client : clients_) {
        client->connection->feed(octets);
    }
}

void FakeBroker::takePacket(const ClientPointer& client, const FakeBrokerPacket& packet) {
    if (packet.type == FakeBrokerPacketType::Connect) {
        client->clientId = packet.connect.clientId;
    }
    records_.push_back({client->clientId, packet, runLoop_.elapsed()});
    const bool isConnect = packet.type == FakeBrokerPacketType::Connect;
    if (isConnect == client->hasConnected) {
        breach(client, isConnect ? "a second CONNECT" : "a packet before CONNECT");
        return;
    }
    if (!isConnect && !client->session) {
        return;  // refused, or thrown out: what it had written already counts for nothing
    }
    if (rules_.endConnectionOn(packet)) {
        client->connection->endByPeer();
        forgetClient(client);
        return;
    }
    switch (packet.type) {
        case FakeBrokerPacketType::Connect: takeConnect(client, packet.connect); break;
        case FakeBrokerPacketType::Publish: takePublish(client, packet); break;
        case FakeBrokerPacketType::PubAck: takePubAck(client, packet.packetId); break;
        case FakeBrokerPacketType::Subscribe: takeSubscribe(client, packet); break;
        case FakeBrokerPacketType::Unsubscribe: takeUnsubscribe(client, packet); break;
        case FakeBrokerPacketType::PingReq:
            answer(client, FakeBrokerPacketType::PingResp, encodePingResp());
            break;
        case FakeBrokerPacketType::Disconnect: forgetClient(client); break;
        default: break;
    }
}

void FakeBroker::takeConnect(const ClientPointer& client, const FakeBrokerConnect& connect) {
    client->hasConnected = true;
    const std::uint8_t returnCode = rules_.codeFor(connect);
    if (returnCode != 0) {
        answer(client, FakeBrokerPacketType::ConnAck, encodeConnAck(false, returnCode));
        client->connection->endByPeer();
        return;
    }
    // A copy, because forgetting a client takes it out of the list.
    const auto clients = clients_;
    for (const auto& other : clients) {
        if (other != client && other->session && other->clientId == connect.clientId) {
            other->connection->endByPeer();  // MQTT 3.1.1 section 3.1.4: the newer connection wins
            forgetClient(other);
        }
    }
    const auto [session, sessionPresent] = sessions_.open(connect.clientId, connect.cleanSession);
    client->session = session;
    client->keepAlive = std::chrono::seconds(connect.keepAliveSeconds);
    watchKeepAlive(client);
    answer(client, FakeBrokerPacketType::ConnAck, encodeConnAck(sessionPresent, 0));
}

void FakeBroker::becomeReady(const ClientPointer& client) {
    client->isReady = true;
    client->session->resume(
        [connection = client->connection](std::string_view octets) { connection->feed(octets); });
}

void FakeBroker::takePublish(const ClientPointer& client, const FakeBrokerPacket& packet) {
    if (packet.qos == 1) {
        answer(client, FakeBrokerPacketType::PubAck, encodePubAck(packet.packetId));
    }
    sessions_.publish({packet.topic, packet.payload, packet.qos, packet.retain});
}

void FakeBroker::takePubAck(const ClientPointer& client, std::uint16_t packetId) {
    if (isLosingAcknowledgements_) {
        return;
    }
    if (!client->session->acknowledge(packetId)) {
        breach(client,
               "an acknowledgement of packet " + std::to_string(packetId) + ", which is not in flight");
    }
}

void FakeBroker::takeSubscribe(const ClientPointer& client, const FakeBrokerPacket& packet) {
    std::vector<std::uint8_t> codes;
    std::vector<FakeBrokerPublication> retained;
    for (const auto& [filter, qos] : packet.topics) {
        const std::uint8_t code = rules_.codeFor(filter, qos);
        codes.push_back(code);
        if (code <= 1) {
            client->session->subscriptions.set(filter, code);
            for (auto& publication : sessions_.retainedFor(filter, code)) {
                retained.push_back(std::move(publication));
            }
        }
    }
    answer(client, FakeBrokerPacketType::SubAck, encodeSubAck(packet.packetId, codes));
    for (auto& publication : retained) {
        client->session->deliver(std::move(publication));
    }
}

void FakeBroker::takeUnsubscribe(const ClientPointer& client, const FakeBrokerPacket& packet) {
    for (const auto& filter : packet.topicNames) {
        client->session->subscriptions.remove(filter);
    }
    answer(client, FakeBrokerPacketType::UnsubAck, encodeUnsubAck(packet.packetId));
}

void FakeBroker::breach(const ClientPointer& client, std::string_view fault) {
    faults_.push_back(client->clientId + ": " + std::string(fault));
    client->connection->fail(ByteStreamErrorCode::ConnectionLost, "closed after a protocol error");
    forgetClient(client);
}

void FakeBroker::forgetClient(const ClientPointer& client) {
    client->isReady = false;
    if (const auto session = std::exchange(client->session, nullptr)) {
        session->clientHasGone();
        if (!session->isKept) {
            sessions_.remove(client->clientId, session);
        }
    }
    std::erase(clients_, client);
}

void FakeBroker::dropConnections() {
    loseConnections(ByteStreamErrorCode::ConnectionLost);
}

void FakeBroker::resetConnections() {
    loseConnections(ByteStreamErrorCode::ConnectionReset);
}

void FakeBroker::loseConnections(ByteStreamErrorCode code) {
    const auto clients = clients_;
    for (const auto& client : clients) {
        client->connection->fail(code, code == ByteStreamErrorCode::ConnectionReset
                                           ? "connection reset by peer"
                                           : "network is unreachable");
        forgetClient(client);
    }
}

void FakeBroker::setEndingOn(std::string topic, bool isEnding) {
    if (isEnding) {
        rules_.endingOn.insert(std::move(topic));
    } else {
        rules_.endingOn.erase(topic);
    }
}

void FakeBroker::endConnections() {
    const auto clients = clients_;
    for (const auto& client : clients) {
        client->connection->endByPeer();
        forgetClient(client);
    }
}

void FakeBroker::forgetSessions() {
    sessions_.clear();
    for (const auto& client : clients_) {
        if (client->session) {
            // The connections go on, with a session that knows nothing.
            client->session = sessions_.open(client->clientId, false).session;
            if (client->isReady) {
                becomeReady(client);
            }
        }
    }
}

void FakeBroker::watchKeepAlive(const ClientPointer& client) {
    if (client->keepAlive.count() == 0) {
        return;
    }
    // MQTT 3.1.1 section 3.1.2.10: silence of one and a half times the keep-alive ends the connection.
    const FakeRunLoop::Duration limit = client->keepAlive + client->keepAlive / 2;
    const auto left = client->lastHeard + limit - runLoop_.elapsed();
    if (left <= FakeRunLoop::Duration::zero()) {
        breach(client, "silence beyond one and a half times the keep-alive");
        return;
    }
    const auto delay = std::chrono::ceil<std::chrono::milliseconds>(left);
    runLoop_.scheduleTimer(delay, life_.guarded([weak = std::weak_ptr(client)](FakeBroker& self) {
        const auto watched = weak.lock();
        if (watched && watched->session) {
            self.watchKeepAlive(watched);
        }
    }));
}

std::vector<FakeBrokerPacket> FakeBroker::packetsOfType(FakeBrokerPacketType type) const {
    std::vector<FakeBrokerPacket> packets;
    for (const auto& record : records_) {
        if (record.packet.type == type) {
            packets.push_back(record.packet);
        }
    }
    return packets;
}

bool FakeBroker::isConnected(std::string_view clientId) const {
    return std::any_of(clients_.begin(), clients_.end(),
                       [&](const auto& client) { return client->isReady && client->clientId == clientId; });
}

std::size_t FakeBroker::connectedCount() const {
    return static_cast<std::size_t>(
        std::count_if(clients_.begin(), clients_.end(), [](const auto& client) { return client->isReady; }));
}

TopicTable FakeBroker::subscriptionsOf(std::string_view clientId) const {
    const FakeBrokerSession* const session = sessions_.find(clientId);
    return session == nullptr ? TopicTable{} : session->subscriptions;
}

std::size_t FakeBroker::unacknowledgedCount(std::string_view clientId) const {
    const FakeBrokerSession* const session = sessions_.find(clientId);
    return session == nullptr ? 0 : session->unacknowledgedCount();
}

}  // namespace xel
