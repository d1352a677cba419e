#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/HTTP/CurlErrors.h"
#include "XelPushClient/Linux/HTTP/CurlHeaders.h"
#include "XelPushClient/Linux/HTTP/CurlTransfer.h"

// Where an answer that is a redirect sends the request. libcurl follows none by itself: the rules are ours.

namespace xel {

/// True when the request goes out again. A redirect to another origin is not followed unless the options say
/// so, so that neither the access token nor the body leaves the host that was asked; the redirect itself is
/// then the answer.
Result<bool> CurlTransfer::followRedirect() {
    const char* location = nullptr;
    curl_easy_getinfo(handle(), CURLINFO_REDIRECT_URL, &location);
    if (location == nullptr) {
        return false;
    }
    const std::string target(location);
    const auto origin = originOfURL(target);
    if (origin != origin_) {
        if (!options_.followsToOtherOrigins) {
            return false;
        }
        if (auto refusal = refusalOfOrigin(origin)) {
            return std::move(*refusal);
        }
    }
    if (++redirects_ > options_.mostRedirects) {
        return makeURLError(
            NSURLErrorCode::HTTPTooManyRedirects,
            formatted("%@ redirected more than %d times", origin_.text(), options_.mostRedirects));
    }
    const bool turnsIntoGet =
        status() == 303 || ((status() == 301 || status() == 302) && request_.method == "POST");
    if (turnsIntoGet && request_.method != "HEAD") {
        becomeGet();
    }
    request_.url = target;
    origin_ = *origin;
    curl_easy_setopt(handle(), CURLOPT_URL, request_.url.c_str());
    applyProxy();
    applyTimeLeft();
    forgetAnswer();
    if (auto refusal = refusalOfURL()) {
        return std::move(*refusal);
    }
    return true;
}

std::optional<NSError> CurlTransfer::refusalOfOrigin(const std::optional<URLOrigin>& origin) const {
    if (!origin) {
        return makeURLError(NSURLErrorCode::BadServerResponse,
                            formatted("%@ redirected to what is no valid URL", origin_.text()));
    }
    if (!origin->hasHTTPScheme()) {
        return makeURLError(NSURLErrorCode::UnsupportedURL,
                            formatted("Only http and https can be asked, and %@ redirected to %@",
                                      origin_.text(), origin->scheme));
    }
    if (origin_.scheme == "https" && origin->scheme != "https") {
        return makeURLError(NSURLErrorCode::SecureConnectionFailed,
                            formatted("%@ redirected to a connection without TLS", origin_.text()));
    }
    return std::nullopt;
}

void CurlTransfer::becomeGet() {
    request_.method = "GET";
    request_.body.clear();
    std::erase_if(request_.headers,
                  [](const auto& field) { return lowerCase(field.first).starts_with("content-"); });
    headerList_.reset();
    static_cast<void>(applyHeaders());  // they have passed once
    applyMethod();
}

void CurlTransfer::forgetAnswer() {
    response_ = HTTPResponse();
    headerOctets_ = 0;
    bodyOctets_ = 0;
    errorText_.fill('\0');
    refusal_.reset();
}

}  // namespace xel
