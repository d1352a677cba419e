#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace xel::bench {

/// Control packet types, MQTT 3.1.1 section 2.2.1.
enum class PacketType : std::uint8_t {
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

/// Writers append one whole packet each. They are written apart from the library's own engine, so that a
/// fault of the engine cannot hide behind the same fault here.
void appendConnect(std::string& out, std::string_view clientId);
void appendConnack(std::string& out, bool sessionPresent);
void appendPublish(std::string& out, std::string_view topic, std::uint16_t packetId,
                   std::string_view payload);
void appendSubscribe(std::string& out, std::uint16_t packetId, std::string_view topic);
void appendSuback(std::string& out, std::uint16_t packetId, std::string_view returnCodes);
/// PUBACK and UNSUBACK: a header and a packet id.
void appendAcknowledgement(std::string& out, PacketType type, std::uint16_t packetId);
void appendPingresp(std::string& out);
void appendDisconnect(std::string& out);

/// One packet of a stream: its first byte, and the bytes behind the remaining length.
struct PacketView {
    PacketType type;
    std::uint8_t flags;
    std::string_view body;
};

/// Calls `handle` for each whole packet at the start of `bytes` and answers how many bytes that were.
/// Throws std::runtime_error for a remaining length of more than four bytes.
std::size_t forEachPacket(std::string_view bytes, const std::function<void(const PacketView&)>& handle);

/// The two bytes at `offset`, most significant first. Throws std::runtime_error when they are not there.
std::uint16_t readUint16(std::string_view body, std::size_t offset);

}  // namespace xel::bench
