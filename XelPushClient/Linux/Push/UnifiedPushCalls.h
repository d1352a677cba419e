#pragma once

#include <map>
#include <optional>
#include <string>

#include <sdbus-c++/Types.h>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {

// What distributors say, read from the arguments of D-Bus (UnifiedPush over D-Bus, 0.3.0). A distributor is
// another program: whatever has not the right shape reads as missing, and unknown arguments are ignored.

using UnifiedPushArguments = std::map<std::string, sdbus::Variant>;

/// Connector2.Message.
struct UnifiedPushMessage {
    std::string token;
    Data message;    ///< 1 to 4096 octets
    std::string id;  ///< to be said in the answer; empty: there is none
};
[[nodiscard]] std::optional<UnifiedPushMessage> messageOfCall(const UnifiedPushArguments& arguments);

/// Connector2.NewEndpoint.
struct UnifiedPushEndpoint {
    std::string token;
    std::string endpoint;  ///< as `isPushEndpoint` says
};
[[nodiscard]] std::optional<UnifiedPushEndpoint> endpointOfCall(const UnifiedPushArguments& arguments);

/// The connection token that every call holds.
[[nodiscard]] std::optional<std::string> tokenOfCall(const UnifiedPushArguments& arguments);

/// Why the answer to Distributor2.Register registers nothing; none when it does. Reasons are the
/// distributor's own words, of which only those that UnifiedPush knows are repeated.
[[nodiscard]] std::optional<NSError> refusalOfAnswer(const UnifiedPushArguments& answer);

}  // namespace xel
