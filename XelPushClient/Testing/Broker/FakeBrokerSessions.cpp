#include "XelPushClient/Testing/Broker/FakeBrokerSessions.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

namespace xel {

void FakeBrokerSession::resume(const Send& send) {
    send_ = send;
    for (const auto& flight : inFlight_) {
        this->send(flight, true);
    }
    sendQueued();
}

void FakeBrokerSession::clientHasGone() {
    send_ = nullptr;
    strays_.clear();
}

void FakeBrokerSession::send(const InFlight& flight, bool isAgain) const {
    FakeBrokerPacket packet;
    packet.type = FakeBrokerPacketType::Publish;
    packet.packetId = flight.packetId;
    packet.topic = flight.publication.topic;
    packet.payload = flight.publication.payload;
    packet.qos = flight.publication.qos;
    packet.retain = flight.publication.retain;
    packet.dup = isAgain;
    const Send send = send_;  // the client may go meanwhile
    send(packet);
}

void FakeBrokerSession::deliver(FakeBrokerPublication publication) {
    if (takes(publication)) {
        queued_.push_back(std::move(publication));
        sendQueued();
    }
}

FakeBrokerSession::Acknowledged FakeBrokerSession::acknowledge(
    std::uint16_t packetId, const std::function<void(const FakeBrokerPublication&)>& hear) {
    const auto at = std::find_if(inFlight_.begin(), inFlight_.end(),
                                 [&](const auto& flight) { return flight.packetId == packetId; });
    if (at == inFlight_.end()) {
        const auto stray = strays_.find(packetId);
        if (stray == strays_.end()) {
            return Acknowledged::NothingThatWasSent;
        }
        strays_.erase(stray);
        return Acknowledged::NothingAnyMore;
    }
    const auto publication = std::move(at->publication);
    inFlight_.erase(at);
    if (hear) {
        hear(publication);
    }
    sendQueued();
    return Acknowledged::Publication;
}

void FakeBrokerSession::forget() {
    subscriptions.clear();
    for (const auto& flight : inFlight_) {
        strays_.insert(flight.packetId);
    }
    inFlight_.clear();
    queued_.clear();
}

void FakeBrokerSession::sendQueued() {
    while (send_ && !queued_.empty()) {
        const bool isTracked = queued_.front().qos > 0;
        const bool isFull = inFlight_.size() >= sending_.mostInFlight ||
                            inFlight_.size() + strays_.size() >= 65535;  // identifiers
        if (isTracked && isFull) {
            return;
        }
        const InFlight flight{isTracked ? takePacketId() : std::uint16_t{0}, std::move(queued_.front())};
        queued_.pop_front();
        if (isTracked) {
            inFlight_.push_back(flight);
        }
        send(flight, false);
        if (isTracked && send_ && sending_.isRepeating) {
            strays_.insert(flight.packetId);
            send(flight, true);
        }
    }
}

std::uint16_t FakeBrokerSession::takePacketId() {
    const auto isUsed = [this](std::uint16_t id) {
        return strays_.contains(id) || std::any_of(inFlight_.begin(), inFlight_.end(),
                                                   [&](const auto& flight) { return flight.packetId == id; });
    };
    do {
        ++lastPacketId_;
    } while (lastPacketId_ == 0 || isUsed(lastPacketId_));
    return lastPacketId_;
}

FakeBrokerSessions::Opened FakeBrokerSessions::open(const std::string& clientId, bool isClean) {
    if (isClean) {
        sessions_.erase(clientId);
    }
    auto& session = sessions_[clientId];
    const bool wasThere = session != nullptr;
    if (!wasThere) {
        session = std::make_shared<FakeBrokerSession>(sending);
    }
    session->isKept = !isClean;
    return {session, wasThere};
}

FakeBrokerSession* FakeBrokerSessions::find(std::string_view clientId) const {
    const auto session = sessions_.find(clientId);
    return session == sessions_.end() ? nullptr : session->second.get();
}

void FakeBrokerSessions::remove(std::string_view clientId,
                                const std::shared_ptr<FakeBrokerSession>& session) {
    const auto at = sessions_.find(clientId);
    if (at != sessions_.end() && at->second == session) {
        sessions_.erase(at);
    }
}

std::vector<std::string> FakeBrokerSessions::forget() {
    std::vector<std::string> lost;
    retained_.clear();
    std::erase_if(sessions_, [&](const auto& entry) {
        lost.push_back(entry.first);
        if (entry.second->isClientThere()) {
            entry.second->forget();
            return false;
        }
        return true;
    });
    return lost;
}

bool FakeBrokerSessions::deliver(std::string_view clientId, FakeBrokerPublication publication) {
    const auto at = sessions_.find(clientId);
    if (at == sessions_.end()) {
        return false;
    }
    const auto session = at->second;
    if (queued_ && session->takes(publication)) {
        queued_(clientId, publication);
    }
    session->deliver(std::move(publication));
    return true;
}

void FakeBrokerSessions::publish(FakeBrokerPublication publication) {
    // Those who have subscribed already get it without the flag ([MQTT-3.3.1-9]).
    if (std::exchange(publication.retain, false)) {
        if (publication.payload.empty()) {
            retained_.erase(publication.topic);
        } else {
            retained_[publication.topic] = publication;
        }
    }
    for (const auto& [clientId, session] : sessions_) {
        std::optional<int> granted;
        for (const auto& [filter, qos] : session->subscriptions) {
            if (topicMatchesFilter(publication.topic, filter)) {
                // Where subscriptions overlap, the highest level counts ([MQTT-3.3.5-1]).
                granted = std::max(granted.value_or(0), qos);
            }
        }
        if (granted) {
            auto copy = publication;
            copy.qos = std::min(publication.qos, *granted);
            deliver(clientId, std::move(copy));
        }
    }
}

std::vector<FakeBrokerPublication> FakeBrokerSessions::retainedFor(std::string_view filter, int qos) const {
    std::vector<FakeBrokerPublication> retained;
    for (const auto& [topic, publication] : retained_) {
        if (topicMatchesFilter(topic, filter)) {
            retained.push_back(publication);
            retained.back().qos = std::min(publication.qos, qos);
            retained.back().retain = true;
        }
    }
    return retained;
}

}  // namespace xel
