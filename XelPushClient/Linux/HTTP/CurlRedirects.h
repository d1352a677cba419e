#pragma once

#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/HTTP/CurlURL.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

/// Whether the status is one that sends the request elsewhere (RFC 9110 section 15.4).
[[nodiscard]] bool isRedirect(long status);

/// Where answers that are redirects send one request, and how often. libcurl follows none by itself: the
/// rules are ours.
class CurlRedirects {
public:
    explicit CurlRedirects(const CurlHTTPOptions& options) : options_(options) {}

    /// Rewrites the request that `origin` answered with a redirect to `target`, and the origin; true when it
    /// goes out again. A redirect to another origin is not followed unless the options say so, so that
    /// neither the access token nor the body leaves the host that was asked; the redirect itself is then the
    /// answer.
    [[nodiscard]] Result<bool> follow(HTTPRequest& request, URLOrigin& origin, long status,
                                      std::string target);

private:
    const CurlHTTPOptions& options_;
    int count_ = 0;
};

}  // namespace xel
