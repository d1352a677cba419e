#pragma once

#include <memory>

#include "XelPushClient/Linux/HTTP/CurlHTTPOptions.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

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
