#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

#include <stdexcept>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

std::string twoOctets(std::size_t number) {
    return {static_cast<char>((number >> 8U) & 0xFFU), static_cast<char>(number & 0xFFU)};
}

std::string encodePacket(unsigned firstOctet, std::string_view body) {
    std::string packet(1, static_cast<char>(firstOctet));
    std::size_t length = body.size();
    do {
        const std::size_t low = length % 128;
        length /= 128;
        packet += static_cast<char>(length > 0 ? low | 0x80U : low);
    } while (length > 0);
    packet += body;
    return packet;
}

std::string describeConnect(const FakeBrokerConnect& connect) {
    return formatted(" %@ keep-alive %d s%@", connect.clientId, connect.keepAliveSeconds,
                     connect.cleanSession ? " clean" : "");
}

std::string describePublish(const FakeBrokerPacket& packet) {
    return formatted(" %@ qos %d%@%@ %@", packet.topic, packet.qos, packet.retain ? " retained" : "",
                     packet.dup ? " again" : "", packet.payload);
}

/// What is in it beside its identifier.
std::string describeContents(const FakeBrokerPacket& packet) {
    std::string text;
    switch (packet.type) {
        case FakeBrokerPacketType::Connect: return describeConnect(packet.connect);
        case FakeBrokerPacketType::Publish: return describePublish(packet);
        case FakeBrokerPacketType::ConnAck:
            return formatted(" %d%@", packet.returnCode, packet.sessionPresent ? " session present" : "");
        case FakeBrokerPacketType::Subscribe:
            for (const auto& [filter, qos] : packet.topics) {
                text += formatted(" %@=%d", filter, qos);
            }
            return text;
        case FakeBrokerPacketType::SubAck:
            for (const auto code : packet.codes) {
                text += formatted(" %d", code);
            }
            return text;
        case FakeBrokerPacketType::Unsubscribe:
            for (const auto& filter : packet.topicNames) {
                text += " " + filter;
            }
            return text;
        default: return text;
    }
}

}  // namespace

std::string describePacket(const FakeBrokerPacket& packet) {
    const auto id = packet.packetId == 0 ? std::string() : formatted(" id %d", packet.packetId);
    return std::string(nameOfPacketType(packet.type)) + id + describeContents(packet);
}

std::string_view nameOfPacketType(FakeBrokerPacketType type) {
    switch (type) {
        case FakeBrokerPacketType::Connect: return "CONNECT";
        case FakeBrokerPacketType::ConnAck: return "CONNACK";
        case FakeBrokerPacketType::Publish: return "PUBLISH";
        case FakeBrokerPacketType::PubAck: return "PUBACK";
        case FakeBrokerPacketType::Subscribe: return "SUBSCRIBE";
        case FakeBrokerPacketType::SubAck: return "SUBACK";
        case FakeBrokerPacketType::Unsubscribe: return "UNSUBSCRIBE";
        case FakeBrokerPacketType::UnsubAck: return "UNSUBACK";
        case FakeBrokerPacketType::PingReq: return "PINGREQ";
        case FakeBrokerPacketType::PingResp: return "PINGRESP";
        case FakeBrokerPacketType::Disconnect: return "DISCONNECT";
    }
    return "?";
}

std::string encodeBrokerPacket(const FakeBrokerPacket& packet) {
    switch (packet.type) {
        case FakeBrokerPacketType::ConnAck: return encodeConnAck(packet.sessionPresent, packet.returnCode);
        case FakeBrokerPacketType::Publish:
            return encodePublish(packet.topic, packet.payload, packet.qos, packet.retain, packet.dup,
                                 packet.packetId);
        case FakeBrokerPacketType::PubAck: return encodePubAck(packet.packetId);
        case FakeBrokerPacketType::SubAck: return encodeSubAck(packet.packetId, packet.codes);
        case FakeBrokerPacketType::UnsubAck: return encodeUnsubAck(packet.packetId);
        case FakeBrokerPacketType::PingResp: return encodePingResp();
        default: throw std::logic_error("a broker sends no " + std::string(nameOfPacketType(packet.type)));
    }
}

std::string encodeConnAck(bool sessionPresent, std::uint8_t returnCode) {
    const std::string body{sessionPresent ? '\1' : '\0', static_cast<char>(returnCode)};
    return encodePacket(0x20, body);
}

std::string encodePublish(std::string_view topic, std::string_view payload, int qos, bool retain, bool dup,
                          std::uint16_t packetId) {
    std::string body = twoOctets(topic.size());
    body += topic;
    if (qos > 0) {
        body += twoOctets(packetId);
    }
    body += payload;
    const unsigned flags = (dup ? 8U : 0U) | (static_cast<unsigned>(qos) << 1U) | (retain ? 1U : 0U);
    return encodePacket(0x30U | flags, body);
}

std::string encodePubAck(std::uint16_t packetId) {
    return encodePacket(0x40, twoOctets(packetId));
}

std::string encodeSubAck(std::uint16_t packetId, std::span<const std::uint8_t> codes) {
    std::string body = twoOctets(packetId);
    for (const std::uint8_t code : codes) {
        body += static_cast<char>(code);
    }
    return encodePacket(0x90, body);
}

std::string encodeUnsubAck(std::uint16_t packetId) {
    return encodePacket(0xB0, twoOctets(packetId));
}

std::string encodePingResp() {
    return encodePacket(0xD0, {});
}

bool topicMatchesFilter(std::string_view topic, std::string_view filter) {
    const auto levels = splitString(topic, "/");
    const auto wanted = splitString(filter, "/");
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (wanted[i] == "#") {
            return true;
        }
        if (i >= levels.size() || (wanted[i] != "+" && wanted[i] != levels[i])) {
            return false;
        }
    }
    return levels.size() == wanted.size();
}

}  // namespace xel
