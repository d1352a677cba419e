#include "tests/simulation/wire/BrokerPacketReader.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace xel::simulation {
namespace {

std::uint16_t numberAt(std::string_view body, std::size_t at) {
    const auto high = static_cast<unsigned char>(body[at]);
    const auto low = static_cast<unsigned char>(body[at + 1]);
    return static_cast<std::uint16_t>(high * 256U + low);
}

std::optional<PacketFact> readPublish(unsigned flags, std::string_view body) {
    PacketFact packet{.type = "PUBLISH"};
    packet.qos = static_cast<int>((flags >> 1U) & 3U);
    packet.dup = (flags & 8U) != 0;
    packet.retain = (flags & 1U) != 0;
    const std::size_t topicLength = body.size() < 2 ? 0 : numberAt(body, 0);
    const std::size_t header = 2 + topicLength + (packet.qos == 0 ? 0U : 2U);
    if (packet.qos > 1 || topicLength == 0 || body.size() < header) {
        return std::nullopt;
    }
    packet.topic = body.substr(2, topicLength);
    if (packet.qos == 1) {
        packet.packetId = numberAt(body, 2 + topicLength);
    }
    packet.payload = body.substr(header);
    return packet;
}

/// An answer with a packet identifier and nothing else.
std::optional<PacketFact> readAnswer(std::string type, std::string_view body) {
    if (body.size() != 2) {
        return std::nullopt;
    }
    return PacketFact{.type = std::move(type), .packetId = numberAt(body, 0)};
}

std::optional<PacketFact> readConnack(std::string_view body) {
    if (body.size() != 2) {
        return std::nullopt;
    }
    PacketFact packet{.type = "CONNACK"};
    packet.sessionPresent = body[0] != 0;
    packet.codes = {static_cast<std::uint8_t>(body[1])};
    return packet;
}

std::optional<PacketFact> readSuback(std::string_view body) {
    if (body.size() < 3) {
        return std::nullopt;
    }
    PacketFact packet{.type = "SUBACK", .packetId = numberAt(body, 0)};
    for (const char code : body.substr(2)) {
        packet.codes.push_back(static_cast<std::uint8_t>(code));
    }
    return packet;
}

}  // namespace

void BrokerPacketReader::feed(std::string_view octets) {
    if (!isOver_) {
        buffer_ += octets;
        while (readOne()) {}
    }
}

std::optional<PacketFact> BrokerPacketReader::next() {
    if (packets_.empty()) {
        return std::nullopt;
    }
    auto packet = std::move(packets_.front());
    packets_.pop_front();
    return packet;
}

bool BrokerPacketReader::readOne() {
    std::size_t length = 0;
    std::size_t at = 1;
    for (unsigned shift = 0;; shift += 7, ++at) {
        if (shift > 21) {
            isOver_ = true;
            return false;
        }
        if (at >= buffer_.size()) {
            return false;
        }
        const auto octet = static_cast<unsigned char>(buffer_[at]);
        length |= static_cast<std::size_t>(octet & 127U) << shift;
        if ((octet & 128U) == 0) {
            break;
        }
    }
    const std::size_t header = at + 1;
    if (buffer_.size() - header < length) {
        return false;
    }
    const auto packet =
        read(static_cast<unsigned char>(buffer_[0]), std::string_view(buffer_).substr(header, length));
    if (!packet) {
        isOver_ = true;
        return false;
    }
    packets_.push_back(*packet);
    buffer_.erase(0, header + length);
    return true;
}

std::optional<PacketFact> BrokerPacketReader::read(unsigned char first, std::string_view body) {
    switch (first >> 4U) {
        case 2: return readConnack(body);
        case 3: return readPublish(first & 15U, body);
        case 4: return readAnswer("PUBACK", body);
        case 9: return readSuback(body);
        case 11: return readAnswer("UNSUBACK", body);
        case 13: return body.empty() ? std::optional(PacketFact{.type = "PINGRESP"}) : std::nullopt;
        default: return std::nullopt;
    }
}

}  // namespace xel::simulation
