#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sandbox/push/WebPushEncryption.h"

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

/// The push token of an installation: where push messages for it go, and whom they are encrypted for.
struct PushToken {
    std::string endpoint;  ///< a URL; nothing says that it is one of this machine
    PushReceiver receiver;
};

/// The token that an installation's "deviceToken" holds: in hexadecimal, the UTF-8 JSON object {"endpoint":
/// URL, "publicKey": the 65 bytes in base64url, "auth": the 16 bytes in base64url}. Nothing when it is
/// something else, as the placeholder of a device without push is.
std::optional<PushToken> parsePushToken(std::string_view hexadecimal);

}  // namespace xel::sandbox
