#include "XelPushClient/Linux/HTTP/CurlRedirects.h"

#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/HTTP/CurlErrors.h"

namespace xel {

namespace {

std::optional<NSError> refusalOf(const std::optional<URLOrigin>& target, const URLOrigin& from) {
    if (!target) {
        return makeURLError(NSURLErrorCode::BadServerResponse,
                            formatted("%@ redirected to what is no valid URL", from.text()));
    }
    if (!target->hasHTTPScheme()) {
        return makeURLError(NSURLErrorCode::UnsupportedURL,
                            formatted("Only http and https can be asked, and %@ redirected to %@",
                                      from.text(), target->scheme));
    }
    if (from.scheme == "https" && target->scheme != "https") {
        return makeURLError(NSURLErrorCode::SecureConnectionFailed,
                            formatted("%@ redirected to a connection without TLS", from.text()));
    }
    return std::nullopt;
}

bool turnsIntoGet(long status, const std::string& method) {
    // 303 asks for it; for a POST the other two allow it, and it is what clients do (RFC
    // 9110 section 15.4).
    return (status == 303 && method != "HEAD") || ((status == 301 || status == 302) && method == "POST");
}

void becomeGet(HTTPRequest& request) {
    request.method = "GET";
    request.body.clear();
    std::erase_if(request.headers,
                  [](const auto& field) { return lowerCase(field.first).starts_with("content-"); });
}

}  // namespace

bool isRedirect(long status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

Result<bool> CurlRedirects::follow(HTTPRequest& request, URLOrigin& origin, long status, std::string target) {
    auto targetOrigin = originOfURL(target);
    if (targetOrigin != origin) {
        if (!options_.followsToOtherOrigins) {
            return false;
        }
        if (auto refusal = refusalOf(targetOrigin, origin)) {
            return std::move(*refusal);
        }
    }
    if (++count_ > options_.mostRedirects) {
        return makeURLError(
            NSURLErrorCode::HTTPTooManyRedirects,
            formatted("%@ redirected more than %d times", origin.text(), options_.mostRedirects));
    }
    if (turnsIntoGet(status, request.method)) {
        becomeGet(request);
    }
    request.url = std::move(target);
    origin = std::move(*targetOrigin);
    return true;
}

}  // namespace xel
