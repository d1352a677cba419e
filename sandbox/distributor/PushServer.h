#pragma once

#include <cstdint>
#include <functional>

#include <boost/asio/io_context.hpp>

#include "sandbox/distributor/PushRequest.h"
#include "sandbox/process/ConnectionListener.h"

namespace xel::sandbox {

class ProgressLog;

/// The distributor's HTTP side: plain HTTP/1.1 on 127.0.0.1, a request for each connection, 30 seconds for
/// it. Knows nothing of endpoints.
///
/// Runs on the thread of `loop`; the handler is called there.
class PushServer {
public:
    using Handler = std::function<PushResponse(const PushRequest&)>;

    /// Listens at once. Throws PortTakenError or SandboxError. Port 0 means a free one.
    PushServer(boost::asio::io_context& loop, ProgressLog& log, std::uint16_t port, Handler handler);

    [[nodiscard]] std::uint16_t port() const;

private:
    ConnectionListener listener_;
};

}  // namespace xel::sandbox
