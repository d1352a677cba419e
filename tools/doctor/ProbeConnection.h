#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/Platform/MQTTSession.h"
#include "tools/doctor/ProbeSocket.h"
#include "tools/doctor/ProbeTLS.h"

namespace xel::tools {

/// What came from the broker.
enum class ProbeReading { Packet, Nothing, End, Nonsense };

struct ProbePacket {
    ProbeReading reading = ProbeReading::Nothing;
    MQTTPacketType type = MQTTPacketType::Pingresp;
    std::uint8_t returnCode = 0;                 ///< of a CONNACK
    std::vector<std::uint8_t> returnCodes = {};  ///< of a SUBACK
};

/// One blocking connection to a broker, by TLS or without it, whose operations each give up after some time.
class ProbeConnection {
public:
    /// An empty `caFile` stands for the system's authorities.
    ProbeConnection(const std::string& caFile, bool usingTLS);

    /// Empty after success; otherwise why there is no connection.
    [[nodiscard]] std::string connect(const HostAddress& address);
    /// The same for TLS, which `connect` goes before; a connection without it has nothing to do.
    [[nodiscard]] std::string shakeHands(const std::string& host);
    [[nodiscard]] const ProbeTLS& tls() const { return tls_; }

    [[nodiscard]] bool write(std::string_view octets);
    /// The next packet that comes within the patience.
    [[nodiscard]] ProbePacket read(std::chrono::milliseconds patience);
    /// Sends CONNECT: the return code of the CONNACK, or nothing when another answer came, or none.
    [[nodiscard]] std::optional<std::uint8_t> introduce(const MQTTSessionParameters& parameters);

private:
    [[nodiscard]] bool hasOctets(std::chrono::steady_clock::time_point deadline) const;
    /// Empty when none have come in time; nothing at the end.
    [[nodiscard]] std::optional<std::string> readOctets();

    bool usingTLS_;
    ProbeSocket socket_;
    ProbeTLS tls_;
    MQTTDecoder decoder_;
    std::string received_;
};

}  // namespace xel::tools
