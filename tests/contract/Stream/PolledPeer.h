#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tests/contract/Stream/TestCertificates.h"

namespace xel::contract {

/// The other side of a byte stream: listens on the loopback, takes one connection, and moves only when
/// polled. By TLS when it has a certificate.
class PolledPeer {
public:
    struct TLS {
        TestCertificate certificate;
        /// The newest version it speaks (TLS1_3_VERSION and so on); 0 for the newest there is.
        int newestVersion = 0;
    };

    explicit PolledPeer(std::optional<TLS> tls = std::nullopt);
    ~PolledPeer();
    PolledPeer(const PolledPeer&) = delete;
    PolledPeer& operator=(const PolledPeer&) = delete;

    [[nodiscard]] std::uint16_t port() const;

    /// Accepts, shakes hands, sends and receives as far as that goes now.
    void poll();

    void send(std::string_view octets);
    /// Ends the connection in order after all it was told to send.
    void end();
    /// Ends it without TLS's own farewell.
    void endWithoutFarewell();
    /// Loses the connection.
    void reset();
    /// While set it does not read, so that its window fills.
    void setReading(bool isReading);

    [[nodiscard]] const std::string& received() const;
    [[nodiscard]] bool sawEnd() const;
    [[nodiscard]] bool isConnected() const;
    /// The server name that the client asked for (RFC 6066 section 3).
    [[nodiscard]] std::string serverName() const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

/// A port of the loopback where nobody listens.
[[nodiscard]] std::uint16_t closedLoopbackPort();

}  // namespace xel::contract
