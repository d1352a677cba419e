#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "XelPushClient/Linux/Network/NetworkKind.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

struct CurlHTTPOptions {
    /// A file of PEM certificates to trust instead of the system's store; empty: the system's.
    std::string caFile{};
    std::chrono::milliseconds connectTimeout{std::chrono::seconds(15)};
    /// So many requests are under way at once; the others wait in the order in which they came. Thousands of
    /// clients may register anew together. 0: no limit.
    std::size_t mostAtOnce = 32;
    /// For the whole request, redirects included, from when it is under way.
    std::chrono::milliseconds totalTimeout{std::chrono::seconds(60)};
    /// A transfer that stays slower than this for the whole period is given up.
    long lowSpeedOctetsPerSecond = 1;
    std::chrono::seconds lowSpeedPeriod{30};
    /// Octets of an answer's body, counted after decompression.
    std::size_t largestAnswer = 4UL * 1024 * 1024;
    int mostRedirects = 5;
    /// Whether a redirect may lead to another origin (scheme, host and port); never to another scheme than
    /// http and https, and never from https to http. Only for requests that carry no secret.
    bool followsToOtherOrigins = false;
    /// For requests whose URL others choose: whether a host may be asked that lies elsewhere than in the
    /// internet, by the address that its name leads to. Through a proxy, where names are looked up by the
    /// proxy, it is asked of any URL with an address in it, and of no name. No user name or password may
    /// stand in such a URL. Called on the transport's thread. Empty: every host may be asked.
    std::function<bool(NetworkKind)> mayReach{};
    std::string userAgent{"XelPushClient"};
    /// Whether the machine has a network, asked after a failure to tell "offline" from "not found". Called on
    /// the transport's thread; empty: taken as online.
    std::function<bool()> isOnline{};
};

class CurlWorker;
class NSRunLoop;

/// HTTP by libcurl, every request on one thread of the transport's own.
///
/// http and https only; TLS 1.2 at least, certificate and host name verified; proxies as the environment
/// names them (http_proxy, https_proxy, no_proxy), never for this machine itself. Redirects are followed
/// within one origin (scheme, host and port); one that leads elsewhere is the answer. Completions are posted
/// to the run loop, which is not kept alive; without it they are dropped uncalled. Dropping the transport
/// ends what is under way with `NSURLErrorCode::Cancelled`.
class CurlHTTPTransport : public HTTPTransport {
public:
    explicit CurlHTTPTransport(std::weak_ptr<NSRunLoop> runLoop, CurlHTTPOptions options = {});
    CurlHTTPTransport(const CurlHTTPTransport&) = delete;
    CurlHTTPTransport& operator=(const CurlHTTPTransport&) = delete;
    ~CurlHTTPTransport() override;

    void send(HTTPRequest request, Completion completion) override;

private:
    std::unique_ptr<CurlWorker> worker_;
};

}  // namespace xel
