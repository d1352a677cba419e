#include "XelPushClient/MQTTSDK/MQTTEngine.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"

namespace xel {
namespace {

// A greater buffer is given back once its content is written.
constexpr std::size_t kKeptOutputSize = std::size_t{4} * 1024;

bool isSame(const SubscribeRequest::Topic& a, const SubscribeRequest::Topic& b) {
    return a.qos == b.qos && a.filter == b.filter;
}

/// Whether the later request has every topic of the earlier one, at the same level. Tables grow at their end,
/// so as a rule each is found at its own place.
bool hasAllOf(const SubscribeRequest& earlier, const SubscribeRequest& later) {
    if (later.topics.size() < earlier.topics.size()) {
        return false;
    }
    const auto elsewhere =
        std::mismatch(earlier.topics.begin(), earlier.topics.end(), later.topics.begin(), isSame).first;
    if (elsewhere == earlier.topics.end()) {
        return true;
    }
    std::unordered_map<std::string_view, int> levels;
    for (const SubscribeRequest::Topic& topic : later.topics) {
        levels.emplace(topic.filter, topic.qos);
    }
    return std::all_of(elsewhere, earlier.topics.end(), [&](const SubscribeRequest::Topic& topic) {
        const auto same = levels.find(topic.filter);
        return same != levels.end() && same->second == topic.qos;
    });
}

}  // namespace

MQTTEngine::MQTTEngine(const MQTTSessionParameters& parameters, const MQTTSessionOptions& options,
                       std::shared_ptr<PacketIds> packetIds, TimePoint now)
    : decoder_(options.maxPacketSize),
      requests_(std::move(packetIds)),
      deadlines_(now, {options.connectDeadline, effectiveKeepAlive(parameters), options.pingResponseDeadline,
                       options.longestSilence}),
      cleanSession_(parameters.cleanSession) {}

MQTTEngineEvent MQTTEngine::next(std::string_view& input, MQTTInboundPacket& packet) {
    for (;;) {
        if (!fault_.empty()) {
            return MQTTEngineEvent::Violation;
        }
        const MQTTDecoding decoding = decoder_.decode(input, packet);
        if (decoding == MQTTDecoding::Incomplete) {
            return MQTTEngineEvent::NeedMore;
        }
        if (decoding == MQTTDecoding::Malformed) {
            return violate(decoder_.fault());
        }
        if (packet.type == MQTTPacketType::Publish && phase_ == Phase::Connected) {
            return MQTTEngineEvent::Publication;
        }
        const MQTTEngineEvent event = interpret(packet);
        if (event != MQTTEngineEvent::NeedMore) {
            return event;
        }
    }
}

// Everything but a publication in its place. `NeedMore` says that the packet meant nothing to the session.
MQTTEngineEvent MQTTEngine::interpret(const MQTTInboundPacket& packet) {
    if (packet.type == MQTTPacketType::Connack) {
        return takeConnack(packet);
    }
    if (phase_ != Phase::Connected) {
        return violate("a packet before CONNACK");
    }
    switch (packet.type) {
        case MQTTPacketType::Puback: return MQTTEngineEvent::PublicationAcknowledged;
        case MQTTPacketType::Suback: return takeSuback(packet);
        case MQTTPacketType::Unsuback: return takeUnsuback(packet);
        default: return takePingresp();
    }
}

MQTTEngineEvent MQTTEngine::takeConnack(const MQTTInboundPacket& packet) {
    if (phase_ != Phase::AwaitingConnack) {
        return violate(phase_ == Phase::Connected ? "a second CONNACK" : "a CONNACK before CONNECT");
    }
    if (packet.returnCode != 0) {
        return MQTTEngineEvent::Refused;
    }
    // Forbidden by [MQTT-3.2.2-1].
    if (packet.sessionPresent && cleanSession_) {
        return violate("a CONNACK with a kept session, where a clean one was asked for");
    }
    phase_ = Phase::Connected;
    return MQTTEngineEvent::Connected;
}

bool MQTTEngine::isSubscribeAnswerNext(std::string_view input) const {
    constexpr auto kSuback = static_cast<unsigned>(MQTTPacketType::Suback);
    if (input.empty() || static_cast<unsigned char>(input.front()) >> 4U != kSuback) {
        return false;
    }
    MQTTDecoder decoder = decoder_;  // what it refuses is refused when it is taken
    MQTTInboundPacket packet;
    return phase_ == Phase::Connected && fault_.empty() &&
           decoder.decode(input, packet) == MQTTDecoding::Complete && faultOfSuback(packet).empty();
}

std::string_view MQTTEngine::faultOfSuback(const MQTTInboundPacket& packet) const {
    const SubscribeRequest* waiting = requests_.findSubscribe(packet.packetId);
    // One without a place has its identifier but is still
    // held back, so the broker cannot be answering it.
    if (waiting == nullptr || !waiting->place) {
        return "a SUBACK for no SUBSCRIBE that waits for one";
    }
    // One code for each topic, in their order (section
    // 3.9.3): otherwise a topic would get another's answer.
    if (waiting->topics.size() != packet.returnCodes.size()) {
        return "a SUBACK with more or fewer return codes than its SUBSCRIBE had topics";
    }
    return {};
}

MQTTEngineEvent MQTTEngine::takeSuback(const MQTTInboundPacket& packet) {
    if (const std::string_view fault = faultOfSuback(packet); !fault.empty()) {
        return violate(fault);
    }
    answered_ = std::move(*requests_.takeSubscribe(packet.packetId));
    answeredCodes_.assign(packet.returnCodes.begin(), packet.returnCodes.end());
    noteAnswer(answered_.place);
    return MQTTEngineEvent::Subscribed;
}

MQTTEngineEvent MQTTEngine::takeUnsuback(const MQTTInboundPacket& packet) {
    const UnsubscribeRequest* waiting = requests_.findUnsubscribe(packet.packetId);
    if (waiting == nullptr || !waiting->place) {
        return violate("an UNSUBACK for no UNSUBSCRIBE that waits for one");
    }
    answeredUnsubscribe_ = std::move(*requests_.takeUnsubscribe(packet.packetId));
    noteAnswer(answeredUnsubscribe_.place);
    return MQTTEngineEvent::Unsubscribed;
}

MQTTEngineEvent MQTTEngine::takePingresp() {
    if (!deadlines_.isAwaitingPingResponse()) {
        return violate("a PINGRESP without a PINGREQ");
    }
    deadlines_.didReceivePingResponse();
    noteAnswerTo(pingPlace_);
    return MQTTEngineEvent::NeedMore;
}

void MQTTEngine::noteAnswer(const std::optional<std::uint64_t>& place) {
    --unansweredRequests_;
    noteAnswerTo(place.value_or(0));
}

MQTTEngineEvent MQTTEngine::violate(std::string_view fault) {
    fault_ = fault;
    return MQTTEngineEvent::Violation;
}

void MQTTEngine::start(const MQTTSessionParameters& parameters) {
    appendConnect(output_, parameters);
    phase_ = Phase::AwaitingConnack;
}

bool MQTTEngine::writeSubscribe(std::uint16_t packetId, std::vector<std::uint16_t>& superseded) {
    SubscribeRequest& request = *requests_.findSubscribe(packetId);
    if (request.purpose == SubscribePurpose::Batch) {
        supersede(request, superseded);
    }
    std::vector<std::pair<std::string_view, int>> topics;
    topics.reserve(request.topics.size());
    for (const SubscribeRequest::Topic& topic : request.topics) {
        topics.emplace_back(topic.filter, topic.qos);
    }
    const std::size_t begin = output_.size();
    // Not before `supersede`, which may move the end of the output.
    const std::uint64_t packetPlace = place();
    if (!appendSubscribe(output_, packetId, topics)) {
        static_cast<void>(requests_.takeSubscribe(packetId));
        return false;
    }
    request.place = packetPlace;
    ++unansweredRequests_;
    if (request.purpose == SubscribePurpose::Batch) {
        unwrittenBatches_.push_back({packetId, begin, output_.size()});
    }
    return true;
}

bool MQTTEngine::writeUnsubscribe(std::uint16_t packetId) {
    UnsubscribeRequest& request = *requests_.findUnsubscribe(packetId);
    const std::vector<std::string_view> filters(request.filters.begin(), request.filters.end());
    const std::uint64_t packetPlace = place();
    if (!appendUnsubscribe(output_, packetId, filters)) {
        static_cast<void>(requests_.takeUnsubscribe(packetId));
        return false;
    }
    request.place = packetPlace;
    ++unansweredRequests_;
    return true;
}

// A host that subscribes to many channels, one call each, sends a growing table with every call; only the
// last one need leave.
void MQTTEngine::supersede(const SubscribeRequest& later, std::vector<std::uint16_t>& superseded) {
    if (!unwrittenBatches_.empty() && unwrittenBatches_.back().end != output_.size()) {
        // Something stands behind them, and its place was noted: taking them out would move it.
        unwrittenBatches_.clear();
    }
    // From the last to the first, because taking one out moves those behind it only.
    for (std::size_t i = unwrittenBatches_.size(); i-- > 0;) {
        const UnwrittenBatch batch = unwrittenBatches_[i];
        if (!hasAllOf(*requests_.findSubscribe(batch.packetId), later)) {
            continue;
        }
        const std::size_t size = batch.end - batch.begin;
        output_.erase(batch.begin, size);
        unwrittenBatches_.erase(unwrittenBatches_.begin() + static_cast<std::ptrdiff_t>(i));
        for (std::size_t j = i; j < unwrittenBatches_.size(); ++j) {
            unwrittenBatches_[j].begin -= size;
            unwrittenBatches_[j].end -= size;
        }
        static_cast<void>(requests_.takeSubscribe(batch.packetId));
        --unansweredRequests_;
        superseded.push_back(batch.packetId);
    }
}

void MQTTEngine::publishAtMostOnce(std::string_view topic, std::string_view data, bool retain) {
    appendPublish(output_, topic, data, 0, retain);
}

std::uint64_t MQTTEngine::publishAtLeastOnce(std::string_view packet, bool isDuplicate) {
    const std::uint64_t packetPlace = place();
    const std::size_t begin = output_.size();
    output_.append(packet);
    if (isDuplicate) {
        output_[begin] = static_cast<char>(static_cast<unsigned char>(output_[begin]) | kMQTTDuplicateFlag);
    }
    return packetPlace;
}

void MQTTEngine::acknowledge(std::span<const std::uint16_t> packetIds) {
    for (const std::uint16_t packetId : packetIds) {
        appendPuback(output_, packetId);
    }
}

void MQTTEngine::disconnect() {
    appendDisconnect(output_);
}

void MQTTEngine::didWriteOutput(TimePoint now) {
    writtenBefore_ += output_.size();
    unwrittenBatches_.clear();
    output_.clear();
    if (output_.capacity() > kKeptOutputSize) {
        output_ = std::string();
    }
    deadlines_.didWrite(now);
}

ConnectionDeadlines::Due MQTTEngine::checkDeadlines(TimePoint now, bool readingIsHeldUp) {
    const ConnectionDeadlines::Due due = deadlines_.check(now, readingIsHeldUp);
    if (due == ConnectionDeadlines::Due::PingRequest) {
        pingPlace_ = place();
        appendPingreq(output_);
        deadlines_.didWritePingRequest(now);
    }
    return due;
}

}  // namespace xel
