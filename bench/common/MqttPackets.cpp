#include "bench/common/MqttPackets.h"

#include <stdexcept>

namespace xel::bench {

namespace {

constexpr std::uint8_t kQos1 = 0x02;       // bits of a PUBLISH's first byte
constexpr std::uint8_t kReserved2 = 0x02;  // what SUBSCRIBE must carry in its flags

void appendByte(std::string& out, std::size_t value) {
    out.push_back(static_cast<char>(static_cast<unsigned char>(value & 0xff)));
}

void appendUint16(std::string& out, std::size_t value) {
    appendByte(out, value >> 8);
    appendByte(out, value);
}

void appendText(std::string& out, std::string_view text) {
    appendUint16(out, text.size());
    out.append(text);
}

void appendHeader(std::string& out, PacketType type, std::uint8_t flags, std::size_t remaining) {
    appendByte(out, static_cast<std::size_t>(type) << 4 | flags);
    do {
        const std::size_t digit = remaining & 0x7f;
        remaining >>= 7;
        appendByte(out, remaining > 0 ? digit | 0x80 : digit);
    } while (remaining > 0);
}

}  // namespace

void appendConnect(std::string& out, std::string_view clientId) {
    constexpr std::size_t kCleanSession = 0x02;
    appendHeader(out, PacketType::Connect, 0, 10 + 2 + clientId.size());
    appendText(out, "MQTT");
    appendByte(out, 4);
    appendByte(out, kCleanSession);
    appendUint16(out, 180);
    appendText(out, clientId);
}

void appendConnack(std::string& out, bool sessionPresent) {
    appendHeader(out, PacketType::Connack, 0, 2);
    appendByte(out, sessionPresent ? 1 : 0);
    appendByte(out, 0);
}

void appendPublish(std::string& out, std::string_view topic, std::uint16_t packetId,
                   std::string_view payload) {
    appendHeader(out, PacketType::Publish, kQos1, 2 + topic.size() + 2 + payload.size());
    appendText(out, topic);
    appendUint16(out, packetId);
    out.append(payload);
}

void appendSubscribe(std::string& out, std::uint16_t packetId, std::string_view topic) {
    appendHeader(out, PacketType::Subscribe, kReserved2, 2 + 2 + topic.size() + 1);
    appendUint16(out, packetId);
    appendText(out, topic);
    appendByte(out, 1);
}

void appendSuback(std::string& out, std::uint16_t packetId, std::string_view returnCodes) {
    appendHeader(out, PacketType::Suback, 0, 2 + returnCodes.size());
    appendUint16(out, packetId);
    out.append(returnCodes);
}

void appendAcknowledgement(std::string& out, PacketType type, std::uint16_t packetId) {
    appendHeader(out, type, 0, 2);
    appendUint16(out, packetId);
}

void appendPingresp(std::string& out) {
    appendHeader(out, PacketType::Pingresp, 0, 0);
}

void appendDisconnect(std::string& out) {
    appendHeader(out, PacketType::Disconnect, 0, 0);
}

std::size_t forEachPacket(std::string_view bytes, const std::function<void(const PacketView&)>& handle) {
    std::size_t consumed = 0;
    while (true) {
        const std::string_view rest = bytes.substr(consumed);
        std::size_t remaining = 0;
        std::size_t header = 1;
        bool lengthComplete = false;
        while (!lengthComplete && header < rest.size()) {
            if (header > 4) {
                throw std::runtime_error("a remaining length of more than four bytes");
            }
            const auto digit = static_cast<unsigned char>(rest[header]);
            remaining |= static_cast<std::size_t>(digit & 0x7f) << (7 * (header - 1));
            lengthComplete = (digit & 0x80) == 0;
            ++header;
        }
        if (!lengthComplete || rest.size() < header + remaining) {
            return consumed;
        }
        const auto first = static_cast<unsigned char>(rest[0]);
        handle({static_cast<PacketType>(first >> 4), static_cast<std::uint8_t>(first & 0x0f),
                rest.substr(header, remaining)});
        consumed += header + remaining;
    }
}

std::uint16_t readUint16(std::string_view body, std::size_t offset) {
    if (body.size() < offset + 2) {
        throw std::runtime_error("a packet ends before its two-byte field");
    }
    return static_cast<std::uint16_t>(static_cast<unsigned char>(body[offset]) << 8 |
                                      static_cast<unsigned char>(body[offset + 1]));
}

}  // namespace xel::bench
