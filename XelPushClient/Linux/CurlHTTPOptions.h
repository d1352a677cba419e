#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace xel {

struct CurlHTTPOptions {
    /// A file of PEM certificates to trust instead of the system's store; empty: the system's.
    std::string caFile{};
    std::chrono::milliseconds connectTimeout{std::chrono::seconds(15)};
    /// For the whole request, redirects included.
    std::chrono::milliseconds totalTimeout{std::chrono::seconds(60)};
    /// A transfer slower than this for the whole period is given up.
    long lowSpeedOctetsPerSecond = 1;
    std::chrono::seconds lowSpeedPeriod{30};
    /// Octets of an answer's body, counted after decompression.
    std::size_t largestAnswer = 4UL * 1024 * 1024;
    int mostRedirects = 5;
    /// Whether a redirect may lead to another origin (scheme, host and port); never to another scheme than
    /// http and https, and never from https to http. Only for requests that carry no secret.
    bool followsToOtherOrigins = false;
    std::string userAgent{"XelPushClient"};
    /// Whether the machine has a network, asked after a failure to tell "offline" from "not found". Called on
    /// the transport's thread; empty: taken as online.
    std::function<bool()> isOnline{};
};

}  // namespace xel
