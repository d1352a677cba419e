#pragma once

#include <cstdint>
#include <string>

#include <boost/asio/io_context.hpp>

#include "sandbox/process/Ports.h"
#include "sandbox/rest/RestMessage.h"
#include "sandbox/state/CertificateAuthority.h"

namespace xel::sandbox {

class ProgressLog;

/// HTTP/1.1 (RFC 9112) over TLS 1.2 or later: takes requests apart, bounds what it reads (1 MiB of body, 8
/// KiB of header, 30 seconds) and writes what the handler answers. Knows nothing of routes.
///
/// Runs on the thread of `loop`; the handler is called there.
class RestServer {
public:
    /// Listens at once. Throws PortTakenError or SandboxError. Port 0 means a free one.
    RestServer(boost::asio::io_context& loop, ProgressLog& log, const std::string& address,
               std::uint16_t port, const ServerCertificateFiles& certificate, RestHandler handler);

    [[nodiscard]] std::uint16_t port() const;

    /// Takes no further connection. To be called on the loop's thread, or when the loop does not run.
    void close();

private:
    ConnectionListener listener_;
};

}  // namespace xel::sandbox
