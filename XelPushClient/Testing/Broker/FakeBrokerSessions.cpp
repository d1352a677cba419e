#include "XelPushClient/Testing/Broker/FakeBrokerSessions.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

namespace xel {

void FakeBrokerSession::resume(const Send& send) {
    send_ = send;
    for (const auto& [packetId, publication] : inFlight_) {
        send(encodePublish(publication.topic, publication.payload, publication.qos, publication.retain, true,
                           packetId));
    }
    sendQueued();
}

void FakeBrokerSession::deliver(FakeBrokerPublication publication) {
    if (publication.qos == 0 && !send_) {
        return;
    }
    queued_.push_back(std::move(publication));
    sendQueued();
}

bool FakeBrokerSession::acknowledge(std::uint16_t packetId) {
    const auto at = std::find_if(inFlight_.begin(), inFlight_.end(),
                                 [&](const auto& flight) { return flight.packetId == packetId; });
    if (at == inFlight_.end()) {
        return false;
    }
    inFlight_.erase(at);
    sendQueued();
    return true;
}

void FakeBrokerSession::sendQueued() {
    while (send_ && !queued_.empty()) {
        auto& next = queued_.front();
        if (next.qos > 0 && inFlight_.size() >= mostInFlight_) {
            return;
        }
        const std::uint16_t packetId = next.qos > 0 ? takePacketId() : std::uint16_t{0};
        const Send send = send_;  // the client may go meanwhile
        send(encodePublish(next.topic, next.payload, next.qos, next.retain, false, packetId));
        if (next.qos > 0) {
            inFlight_.push_back({packetId, std::move(next)});
        }
        queued_.pop_front();
    }
}

std::uint16_t FakeBrokerSession::takePacketId() {
    const auto isUsed = [this](std::uint16_t id) {
        return std::any_of(inFlight_.begin(), inFlight_.end(),
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
        session = std::make_shared<FakeBrokerSession>(mostInFlight_);
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

void FakeBrokerSessions::clear() {
    sessions_.clear();
    retained_.clear();
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
            session->deliver(std::move(copy));
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
