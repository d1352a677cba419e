#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace xel {

/// Control packet types, MQTT 3.1.1 section 2.2.1.
enum class MQTTPacketType : std::uint8_t {
    Connect = 1,
    Connack = 2,
    Publish = 3,
    Puback = 4,
    Subscribe = 8,
    Suback = 9,
    Unsubscribe = 10,
    Unsuback = 11,
    Pingreq = 12,
    Pingresp = 13,
    Disconnect = 14,
};

/// The greatest remaining length that four octets can say (section 2.2.3).
inline constexpr std::size_t kMQTTMaxRemainingLength = 268'435'455;

/// The longest text or topic: its length is written in two octets (section 1.5.3).
inline constexpr std::size_t kMQTTMaxStringLength = 65'535;

/// SUBACK's return code for a topic that the broker refused (section 3.9.3).
inline constexpr std::uint8_t kMQTTSubscribeFailure = 0x80;

/// The duplicate flag in the first octet of a PUBLISH (section 3.3.1.1).
inline constexpr std::uint8_t kMQTTDuplicateFlag = 0x08;

/// The highest quality of service that this client asks for and accepts.
inline constexpr int kMQTTHighestQoS = 1;

/// One packet from the broker. Only the fields of its type mean anything. Views point into the decoded
/// octets.
struct MQTTInboundPacket {
    MQTTPacketType type = MQTTPacketType::Pingresp;

    // PUBLISH
    std::uint8_t qos = 0;
    bool retained = false;
    bool duplicate = false;  ///< the broker sends it again (section 3.3.1.1)
    std::string_view topic;
    std::string_view payload;

    // PUBLISH at QoS 1, PUBACK, SUBACK, UNSUBACK
    std::uint16_t packetId = 0;

    // CONNACK
    bool sessionPresent = false;
    std::uint8_t returnCode = 0;

    // SUBACK
    std::span<const std::uint8_t> returnCodes;
};

}  // namespace xel
