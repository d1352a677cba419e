#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/HTTPTransport.h"
#include "tests/contract/Stream/TestCertificates.h"

namespace xel::contract {

/// One request as the server read it: the URL is the request's target.
using ReceivedRequest = HTTPRequest;

/// The server's side of one exchange, in the hands of the test's handler.
class HTTPExchange {
public:
    virtual ~HTTPExchange() = default;

    /// Writes octets as they are. False when the client has gone.
    virtual bool writeRaw(std::string_view octets) = 0;

    /// Returns when the client has gone, or the server stops.
    virtual void waitUntilClientIsGone() = 0;

    /// A whole answer with its length.
    bool answer(int status, std::string_view body, const HTTPHeaders& headers = {});
};

/// A server on a free port of the loopback whose answers the test writes: blocking, one thread for each
/// connection, which stays open until either side closes it.
class LocalHTTPServer {
public:
    /// Called on the connection's thread. False: the server closes the connection.
    using Handler = std::function<bool(const ReceivedRequest&, HTTPExchange&)>;

    /// With a certificate the server speaks TLS.
    explicit LocalHTTPServer(Handler handler, std::optional<TestCertificate> certificate = std::nullopt);
    ~LocalHTTPServer();
    LocalHTTPServer(const LocalHTTPServer&) = delete;
    LocalHTTPServer& operator=(const LocalHTTPServer&) = delete;

    [[nodiscard]] std::uint16_t port() const;
    /// "http://127.0.0.1:port", or with https.
    [[nodiscard]] std::string url(std::string_view host = "127.0.0.1") const;

    [[nodiscard]] std::vector<ReceivedRequest> received() const;
    [[nodiscard]] std::size_t connectionCount() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace xel::contract
