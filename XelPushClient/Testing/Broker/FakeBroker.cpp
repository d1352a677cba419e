#include "XelPushClient/Testing/Broker/FakeBroker.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Testing/Broker/FakeBrokerState.h"

namespace xel {

FakeBroker::FakeBroker(FakeNetwork& network, FakeRunLoop& runLoop)
    : network_(network), runLoop_(runLoop), self_(std::make_shared<FakeBroker*>(this)) {
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
        resumeSession(client);
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
    auto copy = publication;
    copy.retain = false;
    if (publication.retain) {
        retained_[publication.topic] = copy;
    }
    route(copy);
}

bool FakeBroker::publishTo(std::string_view clientId, const FakeBrokerPublication& publication) {
    const auto session = sessions_.find(clientId);
    if (session == sessions_.end()) {
        return false;
    }
    enqueue(*session->second, publication);
    return true;
}

void FakeBroker::sendOctets(std::string_view octets) {
    for (const auto& client : clients_) {
        client->connection->feed(octets);
    }
}

void FakeBroker::breach(const ClientPointer& client, std::string_view fault) {
    faults_.push_back(client->clientId + ": " + std::string(fault));
    client->connection->fail(ByteStreamErrorCode::ConnectionLost, "closed after a protocol error");
    forgetClient(client);
}

void FakeBroker::forgetClient(const ClientPointer& client) {
    client->isReady = false;
    if (const auto session = std::exchange(client->session, nullptr); session && !session->isKept) {
        const auto at = sessions_.find(client->clientId);
        if (at != sessions_.end() && at->second == session) {
            sessions_.erase(at);
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
        endingOn_.insert(std::move(topic));
    } else {
        endingOn_.erase(topic);
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
    retained_.clear();
    for (const auto& client : clients_) {
        if (client->session) {
            client->session = std::make_shared<Session>();
            client->session->isKept = true;
            client->session->client = client;
            sessions_[client->clientId] = client->session;
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
    runLoop_.scheduleTimer(delay, [self = std::weak_ptr(self_), weak = std::weak_ptr(client)] {
        const auto broker = self.lock();
        const auto watched = weak.lock();
        if (broker && watched && watched->session) {
            (*broker)->watchKeepAlive(watched);
        }
    });
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
    const auto session = sessions_.find(clientId);
    return session == sessions_.end() ? TopicTable{} : session->second->subscriptions;
}

std::size_t FakeBroker::unacknowledgedCount(std::string_view clientId) const {
    const auto session = sessions_.find(clientId);
    return session == sessions_.end() ? 0 : session->second->inFlight.size() + session->second->queued.size();
}

}  // namespace xel
