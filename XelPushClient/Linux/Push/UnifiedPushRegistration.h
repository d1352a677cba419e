#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Linux/Push/WebPushKeys.h"

namespace xel {

class NSUserDefaults;

/// The host's registration with a distributor, as it is kept from start to start.
struct UnifiedPushRegistration {
    /// Names it between host and distributor: a UUID of version 4. Who knows it can send to the host.
    std::string token;
    WebPushKeys keys;
    /// The distributor's name on the bus.
    std::string distributor;
    /// Where messages are sent; empty while there is no endpoint.
    std::string endpoint;
};

/// A new one, with a token and keys of its own. The errors are those of `WebPushKeys::make`.
[[nodiscard]] Result<UnifiedPushRegistration> makeRegistration(const std::string& distributor);

/// Missing when none is stored, or none that can be used.
[[nodiscard]] std::optional<UnifiedPushRegistration> loadRegistration(const NSUserDefaults& store);

/// False when the store does not take it.
[[nodiscard]] bool storeRegistration(NSUserDefaults& store, const UnifiedPushRegistration& registration);

/// What the service is told to send messages with: the UTF-8 JSON {"endpoint": …, "publicKey": …, "auth": …},
/// public key (65 octets) and authentication secret (16 octets) in base64url.
[[nodiscard]] Data deviceTokenOf(const UnifiedPushRegistration& registration);

}  // namespace xel
