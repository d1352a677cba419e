#include "XelPushClient/MQTTSDK/MQTTEngine.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/MQTTSDK/SendableNames.h"

namespace xel {
namespace {

// A greater buffer is given back once its content is written.
constexpr std::size_t kKeptOutputSize = std::size_t{128} * 1024;

}  // namespace

MQTTEngine::MQTTEngine(const MQTTSessionParameters& parameters, const MQTTSessionOptions& options,
                       std::shared_ptr<PacketIds> packetIds, TimePoint now)
    : decoder_(options.maxPacketSize),
      requests_(std::move(packetIds)),
      deadlines_(now, options.connectDeadline, effectiveKeepAlive(parameters), options.pingResponseDeadline),
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
        case MQTTPacketType::Unsuback:
            return requests_.takeUnsubscribe(packet.packetId)
                       ? MQTTEngineEvent::Unsubscribed
                       : violate("an UNSUBACK for no UNSUBSCRIBE that waits for one");
        default: break;
    }
    if (!deadlines_.isAwaitingPingResponse()) {
        return violate("a PINGRESP without a PINGREQ");
    }
    deadlines_.didReceivePingResponse();
    return MQTTEngineEvent::NeedMore;
}

MQTTEngineEvent MQTTEngine::takeConnack(const MQTTInboundPacket& packet) {
    if (phase_ != Phase::AwaitingConnack) {
        return violate(phase_ == Phase::Connected ? "a second CONNACK" : "a CONNACK before CONNECT");
    }
    if (packet.returnCode != 0) {
        return MQTTEngineEvent::Refused;
    }
    if (packet.sessionPresent && cleanSession_) {
        return violate("a CONNACK with a kept session, where a clean one was asked for");
    }
    phase_ = Phase::Connected;
    return MQTTEngineEvent::Connected;
}

MQTTEngineEvent MQTTEngine::takeSuback(const MQTTInboundPacket& packet) {
    const SubscribeRequest* waiting = requests_.findSubscribe(packet.packetId);
    if (waiting == nullptr) {
        return violate("a SUBACK for no SUBSCRIBE that waits for one");
    }
    if (waiting->topics.size() != packet.returnCodes.size()) {
        return violate("a SUBACK with more or fewer return codes than its SUBSCRIBE had topics");
    }
    answered_ = std::move(*requests_.takeSubscribe(packet.packetId));
    answeredCodes_.assign(packet.returnCodes.begin(), packet.returnCodes.end());
    return MQTTEngineEvent::Subscribed;
}

MQTTEngineEvent MQTTEngine::violate(std::string_view fault) {
    fault_ = fault;
    return MQTTEngineEvent::Violation;
}

void MQTTEngine::start(const MQTTSessionParameters& parameters) {
    appendConnect(output_, parameters);
    phase_ = Phase::AwaitingConnack;
}

std::uint16_t MQTTEngine::subscribe(const TopicTable& topics, SubscribePurpose purpose,
                                    std::vector<MQTTRefusedTopic>& refused) {
    SubscribeRequest request;
    request.purpose = purpose;
    request.topics.reserve(topics.size());
    std::vector<std::pair<std::string_view, int>> sent;
    for (const auto& [filter, wantedQoS] : topics) {
        const int qos = std::clamp(wantedQoS, 0, kMQTTHighestQoS);
        if (!isSendableTopicFilter(filter)) {
            refused.push_back({filter, makeNotSendableError(filter)});
            continue;
        }
        request.topics.push_back({filter, qos});
        sent.emplace_back(filter, qos);
    }
    if (sent.empty()) {
        return 0;
    }
    const std::uint16_t packetId = requests_.addSubscribe(std::move(request));
    if (packetId != 0 && !appendSubscribe(output_, packetId, sent)) {
        static_cast<void>(requests_.takeSubscribe(packetId));
        return 0;
    }
    return packetId;
}

std::uint16_t MQTTEngine::unsubscribe(std::span<const std::string_view> filters,
                                      std::vector<MQTTRefusedTopic>& refused) {
    std::vector<std::string_view> sent;
    for (const std::string_view filter : filters) {
        requests_.noteUnsubscribed(filter);
        if (isValidTopicFilter(filter)) {
            sent.push_back(filter);
        } else {
            refused.push_back({std::string(filter), makeNotSendableError(filter)});
        }
    }
    if (sent.empty()) {
        return 0;
    }
    const std::uint16_t packetId = requests_.addUnsubscribe();
    if (packetId != 0 && !appendUnsubscribe(output_, packetId, sent)) {
        requests_.takeUnsubscribe(packetId);
        return 0;
    }
    return packetId;
}

void MQTTEngine::publishAtMostOnce(std::string_view topic, std::string_view data, bool retain) {
    appendPublish(output_, topic, data, 0, retain);
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
    output_.clear();
    if (output_.capacity() > kKeptOutputSize) {
        output_ = std::string();
    }
    deadlines_.didWrite(now);
}

ConnectionDeadlines::Due MQTTEngine::checkDeadlines(TimePoint now, bool readingIsHeldUp) {
    const ConnectionDeadlines::Due due = deadlines_.check(now, readingIsHeldUp);
    if (due == ConnectionDeadlines::Due::PingRequest) {
        appendPingreq(output_);
        deadlines_.didWritePingRequest(now);
    }
    return due;
}

}  // namespace xel
