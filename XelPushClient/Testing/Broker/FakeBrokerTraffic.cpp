#include <algorithm>
#include <utility>

#include "XelPushClient/Testing/Broker/FakeBrokerState.h"

// What the broker does with the packets of its clients, and with publications for them.

namespace xel {

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
    if (endsConnectionOn(packet)) {
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

bool FakeBroker::endsConnectionOn(const FakeBrokerPacket& packet) const {
    if (packet.type == FakeBrokerPacketType::Publish) {
        return isEndingOnEveryPublication_ || endingOn_.contains(packet.topic);
    }
    return packet.type == FakeBrokerPacketType::Subscribe &&
           std::any_of(packet.topics.begin(), packet.topics.end(),
                       [this](const auto& topic) { return endingOn_.contains(topic.first); });
}

void FakeBroker::takeConnect(const ClientPointer& client, const FakeBrokerConnect& connect) {
    client->hasConnected = true;
    std::uint8_t returnCode = connectReturnCode_;
    const auto identity = std::pair(connect.userName.value_or(""), connect.password.value_or(""));
    if (returnCode == 0 && credentials_ && *credentials_ != identity) {
        returnCode = 4;
    }
    if (returnCode != 0) {
        answer(client, FakeBrokerPacketType::ConnAck, encodeConnAck(false, returnCode));
        client->connection->endByPeer();
        return;
    }
    const auto clients = clients_;
    for (const auto& other : clients) {
        if (other != client && other->session && other->clientId == connect.clientId) {
            other->connection->endByPeer();  // MQTT 3.1.1 section 3.1.4: the newer connection wins
            forgetClient(other);
        }
    }
    if (connect.cleanSession) {
        sessions_.erase(connect.clientId);
    }
    auto& session = sessions_[connect.clientId];
    const bool sessionPresent = session != nullptr;
    if (!sessionPresent) {
        session = std::make_shared<Session>();
    }
    session->isKept = !connect.cleanSession;
    session->client = client;
    client->session = session;
    client->keepAlive = std::chrono::seconds(connect.keepAliveSeconds);
    watchKeepAlive(client);
    answer(client, FakeBrokerPacketType::ConnAck, encodeConnAck(sessionPresent, 0));
}

void FakeBroker::resumeSession(const ClientPointer& client) {
    client->isReady = true;
    for (const auto& flight : client->session->inFlight) {
        const auto& publication = flight.publication;
        client->connection->feed(encodePublish(publication.topic, publication.payload, publication.qos,
                                               publication.retain, true, flight.packetId));
    }
    sendQueued(*client->session);
}

void FakeBroker::takePublish(const ClientPointer& client, const FakeBrokerPacket& packet) {
    if (packet.qos == 1) {
        answer(client, FakeBrokerPacketType::PubAck, encodePubAck(packet.packetId));
    }
    FakeBrokerPublication publication{packet.topic, packet.payload, packet.qos, false};
    if (packet.retain) {
        if (packet.payload.empty()) {
            retained_.erase(packet.topic);
        } else {
            retained_[packet.topic] = publication;
        }
    }
    route(publication);
}

void FakeBroker::takePubAck(const ClientPointer& client, std::uint16_t packetId) {
    if (isLosingAcknowledgements_) {
        return;
    }
    auto& flights = client->session->inFlight;
    const auto isIt = [&](const Session::InFlight& flight) { return flight.packetId == packetId; };
    const auto at = std::find_if(flights.begin(), flights.end(), isIt);
    if (at == flights.end()) {
        breach(client,
               "an acknowledgement of packet " + std::to_string(packetId) + ", which is not in flight");
        return;
    }
    flights.erase(at);
    sendQueued(*client->session);
}

void FakeBroker::takeSubscribe(const ClientPointer& client, const FakeBrokerPacket& packet) {
    std::vector<std::uint8_t> codes;
    std::vector<FakeBrokerPublication> retained;
    for (const auto& [filter, qos] : packet.topics) {
        const auto scripted = grantedCodes_.find(filter);
        const auto wanted = static_cast<std::uint8_t>(std::min(qos, 1));
        const std::uint8_t code = scripted == grantedCodes_.end() ? wanted : scripted->second;
        codes.push_back(code);
        if (code > 1) {
            continue;
        }
        client->session->subscriptions.set(filter, code);
        for (const auto& [topic, publication] : retained_) {
            if (topicMatchesFilter(topic, filter)) {
                retained.push_back(publication);
                retained.back().qos = std::min<int>(publication.qos, code);
                retained.back().retain = true;
            }
        }
    }
    answer(client, FakeBrokerPacketType::SubAck, encodeSubAck(packet.packetId, codes));
    for (auto& publication : retained) {
        enqueue(*client->session, std::move(publication));
    }
}

void FakeBroker::takeUnsubscribe(const ClientPointer& client, const FakeBrokerPacket& packet) {
    for (const auto& filter : packet.topicNames) {
        client->session->subscriptions.remove(filter);
    }
    answer(client, FakeBrokerPacketType::UnsubAck, encodeUnsubAck(packet.packetId));
}

void FakeBroker::route(const FakeBrokerPublication& publication) {
    for (const auto& [clientId, session] : sessions_) {
        std::optional<int> granted;
        for (const auto& [filter, qos] : session->subscriptions) {
            if (topicMatchesFilter(publication.topic, filter)) {
                granted = std::max(granted.value_or(0), qos);
            }
        }
        if (granted) {
            auto copy = publication;
            copy.qos = std::min(publication.qos, *granted);
            enqueue(*session, std::move(copy));
        }
    }
}

void FakeBroker::enqueue(Session& session, FakeBrokerPublication publication) {
    const auto client = session.client.lock();
    const bool isAway = !client || !client->isReady;
    if (publication.qos == 0 && isAway) {
        return;
    }
    session.queued.push_back(std::move(publication));
    sendQueued(session);
}

void FakeBroker::sendQueued(Session& session) {
    const auto client = session.client.lock();
    if (!client || !client->isReady) {
        return;
    }
    while (!session.queued.empty()) {
        auto& next = session.queued.front();
        if (next.qos > 0 && session.inFlight.size() >= mostInFlight_) {
            return;
        }
        const std::uint16_t packetId = next.qos > 0 ? session.takePacketId() : std::uint16_t{0};
        client->connection->feed(
            encodePublish(next.topic, next.payload, next.qos, next.retain, false, packetId));
        if (next.qos > 0) {
            session.inFlight.push_back({packetId, std::move(next)});
        }
        session.queued.pop_front();
    }
}

}  // namespace xel
