#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// Domain of the errors of URL loading; the codes below are the platform's published ones.
inline constexpr std::string_view NSURLErrorDomain = "NSURLErrorDomain";

enum class NSURLErrorCode : std::int64_t {
    Unknown = -1,
    Cancelled = -999,
    BadURL = -1000,
    TimedOut = -1001,
    UnsupportedURL = -1002,
    CannotFindHost = -1003,
    CannotConnectToHost = -1004,
    NetworkConnectionLost = -1005,
    HTTPTooManyRedirects = -1007,
    NotConnectedToInternet = -1009,
    BadServerResponse = -1011,
    DataNotAllowed = -1020,
    DataLengthExceedsMaximum = -1103,
    SecureConnectionFailed = -1200,
    ServerCertificateUntrusted = -1202,
};

using HTTPHeaders = std::vector<std::pair<std::string, std::string>>;

/// A request: method, absolute URL, header fields in order, and the body as octets.
struct HTTPRequest {
    std::string method;
    std::string url;
    HTTPHeaders headers;
    std::string body;
};

/// The server's answer, whatever its status.
struct HTTPResponse {
    int status = 0;
    HTTPHeaders headers;
    std::string body;
};

/// Sends HTTP requests (RFC 9110).
///
/// Contract:
/// - https and http only; certificates and host names are verified; time and size of an answer are
///   bounded.
/// - An access token never follows a redirect to another host, and no error's text holds the URL's query,
///   which is where the token is.
/// - The completion is called exactly once, later, on the machine's run loop: with the response, whatever
///   its status, or with an error in `NSURLErrorDomain`.
///
/// Thread: `send` from any thread.
class HTTPTransport {
public:
    using Completion = std::function<void(Result<HTTPResponse>)>;

    virtual ~HTTPTransport() = default;
    virtual void send(HTTPRequest request, Completion completion) = 0;
};

}  // namespace xel
