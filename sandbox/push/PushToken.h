#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sandbox/push/WebPushEncryption.h"

namespace xel::sandbox {

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
