#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <boost/asio/io_context.hpp>

#include "sandbox/process/Ports.h"

namespace xel::sandbox {

/// A request to the distributor's HTTP side, as far as its rules look.
struct PushRequest {
    std::string method;  ///< in capitals
    std::string target;
    std::optional<std::string> timeToLive{};  ///< the header "TTL"
    std::string body{};
};

/// The answer to it.
struct PushResponse {
    unsigned status{200};
    std::string body{};
    std::optional<std::chrono::seconds> timeToLive{};  ///< the header "TTL"
    std::string allow{};                               ///< for status 405: the methods that are allowed
};

/// How long a message is kept at most.
inline constexpr std::chrono::seconds kLongestKept{86400};

/// Takes the message; returns false when there is no endpoint with that random end.
using TakePush = std::function<bool(const std::string& endpoint, const std::string& body,
                                    std::chrono::seconds timeToLive)>;
/// Whether there is such an endpoint.
using KnowsEndpoint = std::function<bool(const std::string& endpoint)>;

/// The rules of an endpoint /push/{random end}:
///
///   POST   takes a body of 1 to 4,096 bytes for at most kLongestKept: 201, with the TTL that is granted. A
///          request without "TTL" asks for 0: for a single try. 400 for no body, or a TTL that is no number;
///          413 for a longer one.
///   GET    {"unifiedpush":{"version":1}}
///
/// 404 for an unknown endpoint, 405 for another method.
PushResponse answerPushRequest(const PushRequest& request, const KnowsEndpoint& knows, const TakePush& take);

/// The answer to a body that is longer than 4,096 bytes, of which nothing need be read.
PushResponse makeTooLargeResponse();

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
