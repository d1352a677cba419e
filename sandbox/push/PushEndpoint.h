#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace xel::sandbox {

/// Where a push message is posted: on this machine, with plain HTTP.
struct PushEndpoint {
    std::string host;  ///< "localhost", or a numeric loopback address without brackets
    std::uint16_t port{80};
    std::string target;  ///< path and query, as they stand in the request
};

/// The endpoint that a URL spells. Nothing when it is no absolute URL of at most 1,000 bytes, or leads to
/// another machine, or asks for another scheme than http (on its own machine the service trusts no
/// certificate), or names a user.
std::optional<PushEndpoint> parseLoopbackEndpoint(std::string_view url);

}  // namespace xel::sandbox
