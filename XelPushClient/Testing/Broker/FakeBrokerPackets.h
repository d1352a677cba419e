#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// Kinds of MQTT control packets (MQTT 3.1.1 section 2.2.1).
enum class FakeBrokerPacketType : std::uint8_t {
    Connect = 1,
    ConnAck = 2,
    Publish = 3,
    PubAck = 4,
    Subscribe = 8,
    SubAck = 9,
    Unsubscribe = 10,
    UnsubAck = 11,
    PingReq = 12,
    PingResp = 13,
    Disconnect = 14
};

/// "CONNECT", "PUBLISH" and so on, as the standard writes them.
[[nodiscard]] std::string_view nameOfPacketType(FakeBrokerPacketType type);

/// What a CONNECT says. Wills are a protocol error here: this library's clients leave none.
struct FakeBrokerConnect {
    std::string clientId;
    std::optional<std::string> userName;
    std::optional<std::string> password;
    std::uint16_t keepAliveSeconds = 0;
    bool cleanSession = false;
};

/// One packet, of a client or of the broker. Fields that its type does not have stay at their defaults.
struct FakeBrokerPacket {
    FakeBrokerPacketType type = FakeBrokerPacketType::PingReq;
    FakeBrokerConnect connect;
    std::uint16_t packetId = 0;
    std::string topic;
    std::string payload;
    int qos = 0;
    bool retain = false;
    bool dup = false;
    TopicTable topics;                    ///< of a SUBSCRIBE, in the packet's order
    std::vector<std::string> topicNames;  ///< of an UNSUBSCRIBE
    bool sessionPresent = false;          ///< of a CONNACK
    std::uint8_t returnCode = 0;          ///< of a CONNACK
    std::vector<std::uint8_t> codes;      ///< of a SUBACK
};

/// The packet in one line: "PUBLISH id 7 app/shop/news qos 1 again {…}". No user name, no password.
[[nodiscard]] std::string describePacket(const FakeBrokerPacket& packet);

/// Reads the client's side of a connection, strictly. It shares nothing with the library's own engine, so
/// that neither can hide the other's mistakes.
class FakeBrokerPacketReader {
public:
    /// Takes octets in. False from the first fault on; `fault` then says what it was.
    bool feed(std::string_view octets);

    /// The next whole packet that was read.
    [[nodiscard]] std::optional<FakeBrokerPacket> next();

    [[nodiscard]] const std::string& fault() const { return fault_; }

private:
    bool readOnePacket();
    bool fail(std::string_view fault);

    std::string buffer_;
    std::deque<FakeBrokerPacket> packets_;
    std::string fault_;
};

/// A packet of the broker's side, as octets. Throws `std::logic_error` for one that only clients send.
[[nodiscard]] std::string encodeBrokerPacket(const FakeBrokerPacket& packet);

/// The same, kind by kind.
[[nodiscard]] std::string encodeConnAck(bool sessionPresent, std::uint8_t returnCode);
[[nodiscard]] std::string encodePublish(std::string_view topic, std::string_view payload, int qos,
                                        bool retain, bool dup, std::uint16_t packetId);
[[nodiscard]] std::string encodePubAck(std::uint16_t packetId);
[[nodiscard]] std::string encodeSubAck(std::uint16_t packetId, std::span<const std::uint8_t> codes);
[[nodiscard]] std::string encodeUnsubAck(std::uint16_t packetId);
[[nodiscard]] std::string encodePingResp();

/// Whether a topic falls under a filter (MQTT 3.1.1 section 4.7).
[[nodiscard]] bool topicMatchesFilter(std::string_view topic, std::string_view filter);

}  // namespace xel
