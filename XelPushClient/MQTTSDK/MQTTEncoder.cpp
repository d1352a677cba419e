#include "XelPushClient/MQTTSDK/MQTTEncoder.h"

#include <algorithm>

#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {
namespace {

constexpr std::string_view kProtocolName = "MQTT";
constexpr char kProtocolLevel = 4;
constexpr std::size_t kLengthSize = 2;  // in front of a text, and of a packet identifier

// Connect flags, section 3.1.2.3.
constexpr unsigned kUserNameFlag = 0x80;
constexpr unsigned kPasswordFlag = 0x40;
constexpr unsigned kCleanSessionFlag = 0x02;

constexpr unsigned kRetainFlag = 0x01;
constexpr unsigned kQoS1Bits = 0x02;
// SUBSCRIBE and UNSUBSCRIBE have this fixed (sections 3.8.1 and 3.10.1).
constexpr unsigned kRequestFlags = 0x02;

void appendOctet(std::string& out, unsigned octet) {
    out.push_back(static_cast<char>(octet));
}

void appendNumber(std::string& out, std::size_t number) {
    const char octets[] = {static_cast<char>(number >> 8U), static_cast<char>(number & 0xFFU)};
    out.append(octets, sizeof octets);
}

void appendText(std::string& out, std::string_view text) {
    appendNumber(out, text.size());
    out.append(text);
}

/// Makes room for the whole packet too: one of which only a part could be appended, for want of memory, would
/// take those behind it for the rest of its own.
void appendFixedHeader(std::string& out, MQTTPacketType type, unsigned flags, std::size_t remainingLength) {
    constexpr std::size_t kLargestHeader = 5;
    const std::size_t needed = out.size() + kLargestHeader + remainingLength;
    if (needed > out.capacity()) {
        out.reserve(std::max(needed, 2 * out.capacity()));
    }
    char octets[kLargestHeader] = {static_cast<char>((static_cast<unsigned>(type) << 4U) | flags)};
    std::size_t size = 1;
    do {
        const std::size_t septet = remainingLength & 0x7FU;
        remainingLength >>= 7U;
        octets[size++] = static_cast<char>(remainingLength == 0 ? septet : septet | 0x80U);
    } while (remainingLength != 0);
    out.append(octets, size);
}

std::size_t fixedHeaderSize(std::size_t remainingLength) {
    std::size_t size = 2;
    while (remainingLength >>= 7U) {
        ++size;
    }
    return size;
}

std::size_t publishRemainingLength(std::string_view topic, std::string_view data, std::uint16_t packetId) {
    return kLengthSize + topic.size() + (packetId == 0 ? 0 : kLengthSize) + data.size();
}

bool fits(std::size_t remainingLength) {
    return remainingLength <= kMQTTMaxRemainingLength;
}

}  // namespace

std::chrono::seconds effectiveKeepAlive(const MQTTSessionParameters& parameters) {
    return std::clamp(parameters.keepAlive, std::chrono::seconds(0), std::chrono::seconds(0xFFFF));
}

void appendConnect(std::string& out, const MQTTSessionParameters& parameters) {
    const bool hasUserName = !parameters.userName.empty();
    // A password without a user name is forbidden ([MQTT-3.1.2-22]).
    const bool hasPassword = hasUserName && !parameters.password.empty();
    const std::size_t length = kLengthSize + kProtocolName.size() + 2 + kLengthSize + kLengthSize +
                               parameters.clientId.size() +
                               (hasUserName ? kLengthSize + parameters.userName.size() : 0) +
                               (hasPassword ? kLengthSize + parameters.password.size() : 0);

    appendFixedHeader(out, MQTTPacketType::Connect, 0, length);
    appendText(out, kProtocolName);
    out.push_back(kProtocolLevel);
    appendOctet(out, (hasUserName ? kUserNameFlag : 0) | (hasPassword ? kPasswordFlag : 0) |
                         (parameters.cleanSession ? kCleanSessionFlag : 0));
    appendNumber(out, static_cast<std::size_t>(effectiveKeepAlive(parameters).count()));
    appendText(out, parameters.clientId);
    if (hasUserName) {
        appendText(out, parameters.userName);
    }
    if (hasPassword) {
        appendText(out, parameters.password);
    }
}

std::size_t publishPacketSize(std::string_view topic, std::string_view data, std::uint16_t packetId) {
    const std::size_t length = publishRemainingLength(topic, data, packetId);
    return fixedHeaderSize(length) + length;
}

void appendPublish(std::string& out, std::string_view topic, std::string_view data, std::uint16_t packetId,
                   bool retain) {
    const unsigned flags = (packetId == 0 ? 0 : kQoS1Bits) | (retain ? kRetainFlag : 0);
    appendFixedHeader(out, MQTTPacketType::Publish, flags, publishRemainingLength(topic, data, packetId));
    appendText(out, topic);
    if (packetId != 0) {
        appendNumber(out, packetId);
    }
    out.append(data);
}

void appendPuback(std::string& out, std::uint16_t packetId) {
    appendFixedHeader(out, MQTTPacketType::Puback, 0, kLengthSize);
    appendNumber(out, packetId);
}

bool appendSubscribe(std::string& out, std::uint16_t packetId,
                     std::span<const std::pair<std::string_view, int>> topics) {
    std::size_t length = kLengthSize;
    for (const auto& [topic, qos] : topics) {
        length += kLengthSize + topic.size() + 1;
    }
    // Without a topic it would be a protocol violation ([MQTT-3.8.3-3]).
    if (topics.empty() || !fits(length)) {
        return false;
    }
    appendFixedHeader(out, MQTTPacketType::Subscribe, kRequestFlags, length);
    appendNumber(out, packetId);
    for (const auto& [topic, qos] : topics) {
        appendText(out, topic);
        appendOctet(out, static_cast<unsigned>(qos));
    }
    return true;
}

bool appendUnsubscribe(std::string& out, std::uint16_t packetId, std::span<const std::string_view> topics) {
    std::size_t length = kLengthSize;
    for (const std::string_view topic : topics) {
        length += kLengthSize + topic.size();
    }
    // Likewise ([MQTT-3.10.3-2]).
    if (topics.empty() || !fits(length)) {
        return false;
    }
    appendFixedHeader(out, MQTTPacketType::Unsubscribe, kRequestFlags, length);
    appendNumber(out, packetId);
    for (const std::string_view topic : topics) {
        appendText(out, topic);
    }
    return true;
}

void appendPingreq(std::string& out) {
    appendFixedHeader(out, MQTTPacketType::Pingreq, 0, 0);
}

void appendDisconnect(std::string& out) {
    appendFixedHeader(out, MQTTPacketType::Disconnect, 0, 0);
}

}  // namespace xel
