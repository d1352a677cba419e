#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/socket.h>

#include "XelPushClient/Linux/Process/FileDescriptor.h"
#include "XelPushClient/Linux/Stream/TLSContext.h"
#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/Platform/MQTTSession.h"

struct ssl_st;

namespace xel::tools {

/// One address of a host.
struct HostAddress {
    sockaddr_storage address{};
    socklen_t length = 0;
    std::string text{};  ///< numeric
};

/// The addresses that the machine's resolver knows for the host (getaddrinfo), with the port. Empty, with the
/// reason, when there is none.
[[nodiscard]] std::vector<HostAddress> lookUp(const std::string& host, std::uint16_t port,
                                              std::string& reason);

/// A blocking TCP connection whose operations each give up after some time.
class ProbeSocket {
public:
    /// Empty after success; otherwise why there is no connection.
    [[nodiscard]] std::string connect(const HostAddress& address, std::chrono::milliseconds patience);

    [[nodiscard]] int descriptor() const { return descriptor_.number(); }

private:
    FileDescriptor descriptor_;
};

/// A TLS connection over a blocking socket, by the rules of the client's own: TLS 1.2 at least, certificate
/// and host name verified.
class ProbeTLS {
public:
    explicit ProbeTLS(const std::string& caFile);
    ~ProbeTLS();
    ProbeTLS(const ProbeTLS&) = delete;
    ProbeTLS& operator=(const ProbeTLS&) = delete;

    /// Empty after success; otherwise why there is none.
    [[nodiscard]] std::string shakeHands(int socket, const std::string& host);

    /// Until the server's certificate expires.
    [[nodiscard]] int daysLeft() const;
    [[nodiscard]] std::string version() const;

    [[nodiscard]] bool write(std::string_view octets);
    /// Whether octets wait that were received already.
    [[nodiscard]] bool hasOctets() const;
    /// The next octets; empty when none have come in time; nothing at the end.
    [[nodiscard]] std::optional<std::string> read();

private:
    struct Free {
        void operator()(ssl_st* connection) const;
    };

    TLSContext context_;
    std::unique_ptr<ssl_st, Free> connection_;
};

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
