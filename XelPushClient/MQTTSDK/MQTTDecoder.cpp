#include "XelPushClient/MQTTSDK/MQTTDecoder.h"

#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {
namespace {

constexpr std::size_t kNumberSize = 2;
constexpr std::size_t kMaxLengthOctets = 4;
constexpr std::uint8_t kHighestConnackCode = 5;

unsigned octetAt(std::string_view octets, std::size_t index) {
    return static_cast<unsigned char>(octets[index]);
}

std::uint16_t numberAt(std::string_view octets, std::size_t index) {
    return static_cast<std::uint16_t>((octetAt(octets, index) << 8U) | octetAt(octets, index + 1));
}

unsigned qosOf(unsigned publishFlags) {
    return (publishFlags >> 1U) & 0x03U;
}

}  // namespace

MQTTDecoding MQTTDecoder::decode(std::string_view& input, MQTTInboundPacket& packet) {
    Frame frame{};
    const MQTTDecoding framed = decodeFrame(input, frame);
    if (framed != MQTTDecoding::Complete) {
        return framed;
    }
    if (!decodeBody(frame, input.substr(frame.headerSize, frame.remainingLength), packet)) {
        return MQTTDecoding::Malformed;
    }
    input.remove_prefix(frame.headerSize + frame.remainingLength);
    return MQTTDecoding::Complete;
}

// The fixed header, section 2.2, judged as far as it has arrived: a packet that will be refused is not waited
// for.
MQTTDecoding MQTTDecoder::decodeFrame(std::string_view input, Frame& frame) {
    if (input.empty()) {
        return MQTTDecoding::Incomplete;
    }
    const unsigned first = octetAt(input, 0);
    if (!acceptFirstOctet(first)) {
        return MQTTDecoding::Malformed;
    }
    frame.type = static_cast<MQTTPacketType>(first >> 4U);
    frame.flags = first & 0x0FU;
    frame.remainingLength = 0;
    // Seven bits an octet, the least significant first, for as long as the high bit is set (section 2.2.3).
    unsigned octet = 0x80U;
    for (frame.headerSize = 1; (octet & 0x80U) != 0; ++frame.headerSize) {
        if (frame.headerSize > kMaxLengthOctets) {
            refuse("a remaining length of more than four octets");
            return MQTTDecoding::Malformed;
        }
        if (frame.headerSize == input.size()) {
            return MQTTDecoding::Incomplete;
        }
        octet = octetAt(input, frame.headerSize);
        frame.remainingLength |= static_cast<std::size_t>(octet & 0x7FU) << (7U * (frame.headerSize - 1));
    }
    if (!acceptLength(frame)) {
        return MQTTDecoding::Malformed;
    }
    return input.size() - frame.headerSize < frame.remainingLength ? MQTTDecoding::Incomplete
                                                                   : MQTTDecoding::Complete;
}

bool MQTTDecoder::acceptFirstOctet(unsigned octet) {
    const unsigned flags = octet & 0x0FU;
    switch (static_cast<MQTTPacketType>(octet >> 4U)) {
        case MQTTPacketType::Publish:
            if (qosOf(flags) == 0) {
                return (flags & kMQTTDuplicateFlag) == 0 ||
                       refuse("a PUBLISH of QoS 0 marked as a duplicate");
            }
            return qosOf(flags) == 1 ||
                   refuse(qosOf(flags) == 2 ? "a PUBLISH of QoS 2, which was never asked for"
                                            : "a PUBLISH of QoS 3");
        case MQTTPacketType::Connack:
        case MQTTPacketType::Puback:
        case MQTTPacketType::Suback:
        case MQTTPacketType::Unsuback:
        case MQTTPacketType::Pingresp: return flags == 0 || refuse("reserved bits set in a fixed header");
        case MQTTPacketType::Connect:
        case MQTTPacketType::Subscribe:
        case MQTTPacketType::Unsubscribe:
        case MQTTPacketType::Pingreq:
        case MQTTPacketType::Disconnect: return refuse("a packet that only a client may send");
    }
    return refuse("a packet of a reserved type or of QoS 2");
}

// Lengths that can be judged before the body is there, so that the parts below find the octets they read.
bool MQTTDecoder::acceptLength(const Frame& frame) {
    if (frame.headerSize + frame.remainingLength > maxPacketSize_) {
        return refuse("a packet over the size limit");
    }
    switch (frame.type) {
        case MQTTPacketType::Publish:
            // A topic of one octet at least.
            return frame.remainingLength >= kNumberSize + 1 + (qosOf(frame.flags) == 0 ? 0 : kNumberSize) ||
                   refuse("a PUBLISH too short for its topic");
        case MQTTPacketType::Suback:
            return frame.remainingLength >= kNumberSize + 1 || refuse("a SUBACK without return codes");
        case MQTTPacketType::Pingresp: return frame.remainingLength == 0 || refuse("a PINGRESP with a body");
        default:
            return frame.remainingLength == kNumberSize ||
                   refuse("a CONNACK, PUBACK or UNSUBACK of another length than two");
    }
}

bool MQTTDecoder::decodeBody(const Frame& frame, std::string_view body, MQTTInboundPacket& packet) {
    packet.type = frame.type;
    switch (frame.type) {
        case MQTTPacketType::Publish: return decodePublish(frame, body, packet);
        case MQTTPacketType::Connack: return decodeConnack(body, packet);
        case MQTTPacketType::Suback: return decodeSuback(body, packet);
        case MQTTPacketType::Pingresp: return true;
        default: return takePacketId(body, packet);
    }
}

bool MQTTDecoder::decodePublish(const Frame& frame, std::string_view body, MQTTInboundPacket& packet) {
    packet.qos = static_cast<std::uint8_t>(qosOf(frame.flags));
    packet.retained = (frame.flags & 0x01U) != 0;
    packet.duplicate = (frame.flags & kMQTTDuplicateFlag) != 0;
    const std::size_t topicLength = numberAt(body, 0);
    body.remove_prefix(kNumberSize);
    if (topicLength > body.size()) {
        return refuse("a topic that is longer than its packet");
    }
    packet.topic = body.substr(0, topicLength);
    body.remove_prefix(topicLength);
    if (!isValidTopicName(packet.topic)) {
        return refuse("a topic that is empty, not UTF-8, or holds NUL or a wildcard");
    }
    packet.packetId = 0;
    if (packet.qos != 0 && !takePacketId(body, packet)) {
        return false;
    }
    packet.payload = body;
    return true;
}

bool MQTTDecoder::decodeConnack(std::string_view body, MQTTInboundPacket& packet) {
    const unsigned flags = octetAt(body, 0);
    packet.sessionPresent = flags == 1;
    packet.returnCode = static_cast<std::uint8_t>(octetAt(body, 1));
    if (flags > 1) {
        return refuse("reserved bits set in a CONNACK");
    }
    if (packet.returnCode > kHighestConnackCode) {
        return refuse("a reserved return code in a CONNACK");
    }
    return !packet.sessionPresent || packet.returnCode == 0 ||
           refuse("a CONNACK that refuses a present session");
}

bool MQTTDecoder::decodeSuback(std::string_view body, MQTTInboundPacket& packet) {
    if (!takePacketId(body, packet)) {
        return false;
    }
    for (std::size_t i = 0; i < body.size(); ++i) {
        // 2 is a valid answer (section 3.9.3), also to a topic that was asked for at 1.
        if (octetAt(body, i) > 2 && octetAt(body, i) != kMQTTSubscribeFailure) {
            return refuse("a reserved return code in a SUBACK");
        }
    }
    // uint8_t is unsigned char, which may alias the octets of any object.
    packet.returnCodes = {reinterpret_cast<const std::uint8_t*>(body.data()), body.size()};
    return true;
}

bool MQTTDecoder::takePacketId(std::string_view& body, MQTTInboundPacket& packet) {
    if (body.size() < kNumberSize) {
        return refuse("a packet that ends inside its packet identifier");
    }
    packet.packetId = numberAt(body, 0);
    body.remove_prefix(kNumberSize);
    return packet.packetId != 0 || refuse("a packet identifier of 0");
}

bool MQTTDecoder::refuse(std::string_view fault) {
    fault_ = fault;
    return false;
}

}  // namespace xel
