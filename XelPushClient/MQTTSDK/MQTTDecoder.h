#pragma once

#include <cstddef>
#include <string_view>

#include "XelPushClient/MQTTSDK/MQTTPacket.h"

namespace xel {

enum class MQTTDecoding {
    Complete,    ///< one packet was read and taken off the input
    Incomplete,  ///< the input ends inside a packet; nothing was taken
    Malformed,   ///< the input cannot be, or become, a packet that a broker may send; nothing was taken
};

/// Reads packets off the front of what a broker sent (MQTT 3.1.1 section 3), strictly: reserved bits,
/// lengths, packet identifiers and texts are checked, and packets that only a client may send or that belong
/// to QoS 2 are malformed.
///
/// Keeps nothing between calls, so that a fault is found at the same octet however the octets arrive,
/// allocates nothing, and copies nothing: a packet's views point into the input.
class MQTTDecoder {
public:
    /// Packets of more octets than the limit, fixed header included, are malformed.
    explicit MQTTDecoder(std::size_t maxPacketSize) : maxPacketSize_(maxPacketSize) {}

    [[nodiscard]] MQTTDecoding decode(std::string_view& input, MQTTInboundPacket& packet);

    /// What was wrong, after `Malformed`. A constant text that holds nothing of the input.
    [[nodiscard]] std::string_view fault() const { return fault_; }

private:
    struct Frame {
        MQTTPacketType type;
        unsigned flags;
        std::size_t headerSize;
        std::size_t remainingLength;
    };

    MQTTDecoding decodeFrame(std::string_view input, Frame& frame);
    bool acceptFirstOctet(unsigned octet);
    bool acceptLength(const Frame& frame);
    bool decodeBody(const Frame& frame, std::string_view body, MQTTInboundPacket& packet);
    bool decodePublish(const Frame& frame, std::string_view body, MQTTInboundPacket& packet);
    bool decodeConnack(std::string_view body, MQTTInboundPacket& packet);
    bool decodeSuback(std::string_view body, MQTTInboundPacket& packet);
    bool takePacketId(std::string_view& body, MQTTInboundPacket& packet);
    bool refuse(std::string_view fault);

    std::size_t maxPacketSize_;
    std::string_view fault_;
};

}  // namespace xel
