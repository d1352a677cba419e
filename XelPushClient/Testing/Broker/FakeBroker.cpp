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
    // What has come, and what would have left, while the broker was silent.
    std::string unread;
    std::vector<FakeBrokerPacket> unsent;
    bool hasClosed = false;
};

template <class Operation, class... Arguments>
void FakeBroker::tell(Operation operation, const Arguments&... arguments) const {
    for (auto* observer : observers_) {
        (observer->*operation)(arguments...);
    }
}

FakeBroker::FakeBroker(FakeNetwork& network, FakeRunLoop& runLoop)
    : network_(network), runLoop_(runLoop), answers_(runLoop) {
    network_.setConnectionHandler([this](const auto& connection) { take(connection); });
    sessions_.setQueuedHandler([this](std::string_view clientId, const FakeBrokerPublication& publication) {
        tell(&FakeBrokerObserver::brokerDidQueue, clientId, publication);
    });
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
        const auto speaker = weak.lock();
        if (speaker && isSilent_) {
            speaker->hasClosed = true;
        } else if (speaker) {
            forgetClient(speaker);
        }
    });
    connection->accept();
}

void FakeBroker::setMostOctetsPerRead(std::size_t most) {
    mostOctetsPerRead_ = most;
    for (const auto& client : clients_) {
        client->connection->setMostOctetsPerRead(most);
    }
}

void FakeBroker::setSilent(bool isSilent) {
    isSilent_ = isSilent;
    const auto clients = clients_;
    for (const auto& client : clients) {
        if (!isSilent_) {
            wake(client);
        }
    }
}

void FakeBroker::wake(const ClientPointer& client) {
    for (const auto& packet : std::exchange(client->unsent, {})) {
        send(client, packet);
    }
    takeOctets(client, std::exchange(client->unread, {}));
    if (client->hasClosed) {
        forgetClient(client);
    }
}

void FakeBroker::takeOctets(const ClientPointer& client, std::string_view octets) {
    if (isSilent_) {
        client->unread += octets;
        return;
    }
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

void FakeBroker::answer(const ClientPointer& client, FakeBrokerPacket packet) {
    const auto type = packet.type;
    answers_.add(type, [this, weak = std::weak_ptr(client), packet = std::move(packet)] {
        const auto asker = weak.lock();
        if (!asker) {
            return;
        }
        send(asker, packet);
        if (packet.type == FakeBrokerPacketType::ConnAck && asker->session) {
            // CONNACK comes first ([MQTT-3.2.0-1]), so publications wait for one that is withheld.
            becomeReady(asker);
        }
    });
}

void FakeBroker::answer(const ClientPointer& client, FakeBrokerPacketType type, std::uint16_t packetId) {
    FakeBrokerPacket packet;
    packet.type = type;
    packet.packetId = packetId;
    answer(client, std::move(packet));
}

void FakeBroker::send(const ClientPointer& client, const FakeBrokerPacket& packet) {
    if (isSilent_) {
        client->unsent.push_back(packet);
    } else if (client->connection->isOpen()) {
        tell(&FakeBrokerObserver::brokerDidSend,
             FakeBrokerRecord{client->clientId, packet, runLoop_.elapsed()});
        client->connection->feed(encodeBrokerPacket(packet));
    }
}

void FakeBroker::publish(const FakeBrokerPublication& publication) {
    sessions_.publish(publication);
}

bool FakeBroker::publishTo(std::string_view clientId, const FakeBrokerPublication& publication) {
    return sessions_.deliver(clientId, publication);
}

void FakeBroker::sendOctets(std::string_view octets) {
    tell(&FakeBrokerObserver::brokerDidSendOctets, octets);
    for (const auto& client : clients_) {
        client->connection->feed(octets);
    }
}

void FakeBroker::takePacket(const ClientPointer& client, const FakeBrokerPacket& packet) {
    if (packet.type == FakeBrokerPacketType::Connect) {
        client->clientId = packet.connect.clientId;
    }
    const FakeBrokerRecord record{client->clientId, packet, runLoop_.elapsed()};
    tell(&FakeBrokerObserver::brokerDidReceive, record);
    records_.push_back(record);
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
        case FakeBrokerPacketType::PingReq: answer(client, FakeBrokerPacketType::PingResp, 0); break;
        case FakeBrokerPacketType::Disconnect: forgetClient(client); break;
        default: break;
    }
}

void FakeBroker::takeConnect(const ClientPointer& client, const FakeBrokerConnect& connect) {
    client->hasConnected = true;
    FakeBrokerPacket connAck;
    connAck.type = FakeBrokerPacketType::ConnAck;
    connAck.returnCode = rules_.codeFor(connect);
    if (connAck.returnCode != 0) {
        answer(client, connAck);
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
    const bool hadSession = sessions_.find(connect.clientId) != nullptr;
    const auto [session, sessionPresent] =
        sessions_.open(connect.clientId, connect.cleanSession || !isKeepingSessions_);
    if (hadSession && !sessionPresent) {
        tell(&FakeBrokerObserver::brokerDidForgetSession, connect.clientId);
    }
    client->session = session;
    client->keepAlive = std::chrono::seconds(connect.keepAliveSeconds);
    watchKeepAlive(client);
    connAck.sessionPresent = sessionPresent;
    answer(client, connAck);
}

void FakeBroker::becomeReady(const ClientPointer& client) {
    client->isReady = true;
    client->session->resume([this, weak = std::weak_ptr(client)](const FakeBrokerPacket& publication) {
        if (const auto reader = weak.lock()) {
            send(reader, publication);
        }
    });
}

void FakeBroker::takePublish(const ClientPointer& client, const FakeBrokerPacket& packet) {
    const FakeBrokerPublication publication{packet.topic, packet.payload, packet.qos, packet.retain};
    tell(&FakeBrokerObserver::brokerDidTake, client->clientId, publication);
    if (packet.qos == 1) {
        answer(client, FakeBrokerPacketType::PubAck, packet.packetId);
    }
    sessions_.publish(publication);
}

void FakeBroker::takePubAck(const ClientPointer& client, std::uint16_t packetId) {
    if (isLosingAcknowledgements_) {
        return;
    }
    const auto session = client->session;
    const auto acknowledged = session->acknowledge(packetId, [&](const FakeBrokerPublication& publication) {
        tell(&FakeBrokerObserver::brokerDidHearAcknowledgement, client->clientId, publication);
    });
    if (acknowledged == FakeBrokerSession::Acknowledged::NothingThatWasSent) {
        breach(client,
               "an acknowledgement of packet " + std::to_string(packetId) + ", which is not in flight");
    }
}

void FakeBroker::takeSubscribe(const ClientPointer& client, const FakeBrokerPacket& packet) {
    FakeBrokerPacket subAck;
    subAck.type = FakeBrokerPacketType::SubAck;
    subAck.packetId = packet.packetId;
    std::vector<FakeBrokerPublication> retained;
    for (const auto& [filter, qos] : packet.topics) {
        const std::uint8_t code = rules_.codeFor(filter, qos);
        subAck.codes.push_back(code);
        if (code <= 2) {
            client->session->subscriptions.set(filter, code);
            for (auto& publication : sessions_.retainedFor(filter, code)) {
                retained.push_back(std::move(publication));
            }
        }
    }
    answer(client, std::move(subAck));
    for (auto& publication : retained) {
        sessions_.deliver(client->clientId, std::move(publication));
    }
}

void FakeBroker::takeUnsubscribe(const ClientPointer& client, const FakeBrokerPacket& packet) {
    for (const auto& filter : packet.topicNames) {
        client->session->subscriptions.remove(filter);
    }
    answer(client, FakeBrokerPacketType::UnsubAck, packet.packetId);
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
        if (!session->isKept || !isKeepingSessions_) {
            sessions_.remove(client->clientId, session);
            tell(&FakeBrokerObserver::brokerDidForgetSession, client->clientId);
        }
    }
    if (std::erase(clients_, client) > 0) {
        tell(&FakeBrokerObserver::brokerDidLoseClient, client->clientId);
    }
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

void FakeBroker::clearGrantedCode(std::string_view topic) {
    if (const auto code = rules_.grantedCodes.find(topic); code != rules_.grantedCodes.end()) {
        rules_.grantedCodes.erase(code);
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
    // The connections go on, with sessions that know nothing.
    for (const auto& clientId : sessions_.forget()) {
        tell(&FakeBrokerObserver::brokerDidForgetSession, clientId);
    }
}

void FakeBroker::watchKeepAlive(const ClientPointer& client) {
    if (client->keepAlive.count() == 0) {
        return;
    }
    if (isSilent_) {
        client->lastHeard = runLoop_.elapsed();  // it does not watch while it hangs
    }
    // MQTT 3.1.1 section 3.1.2.10: silence of one and a half times the keep-alive ends the connection.
    const FakeRunLoop::Duration limit = client->keepAlive + client->keepAlive / 2;
    const auto left = client->lastHeard + limit - runLoop_.elapsed();
    if (left <= FakeRunLoop::Duration::zero() && client->connection->isSevered()) {
        forgetClient(client);  // the client may have written; the network is to blame
        return;
    }
    if (left <= FakeRunLoop::Duration::zero()) {
        breach(client, "silence beyond one and a half times the keep-alive");
        return;
    }
    const auto delay = std::chrono::ceil<std::chrono::milliseconds>(left);
    runLoop_.scheduleOutside(delay, life_.guarded([weak = std::weak_ptr(client)](FakeBroker& self) {
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
