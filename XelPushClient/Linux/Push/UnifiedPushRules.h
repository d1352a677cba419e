#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Linux/Push/UnifiedPushBus.h"

namespace xel {

/// Domain of the errors of push tokens.
inline constexpr std::string_view kUnifiedPushErrorDomain = "UnifiedPush";

enum class UnifiedPushErrorCode : std::int64_t {
    NoBusName = 1,      ///< the host has no name on the bus, or no valid one
    NoDistributor = 2,  ///< none is there
    Refused = 3,        ///< the distributor does not register the host; the reason is its own
    TimedOut = 4,       ///< no endpoint came in time
    NotStored = 5,      ///< no home is open, or its store does not take the registration
};

[[nodiscard]] NSError makeUnifiedPushError(UnifiedPushErrorCode code, const std::string& description);

/// Whether a program may own the name on a bus (two or more elements of letters, digits, "_" and "-"), such
/// as "org.example.Shop".
[[nodiscard]] bool isBusName(std::string_view name);

/// Whether the name is a distributor's.
[[nodiscard]] bool isDistributorName(std::string_view name);

/// Whether the text may name a registration: 1 to 100 octets.
[[nodiscard]] bool isConnectionToken(std::string_view text);

/// Whether the text is an endpoint: an http or https URL of at most 1000 octets.
[[nodiscard]] bool isPushEndpoint(std::string_view text);

/// Whom to register with: the one that is preferred, when it is there; else the one of the last time, when it
/// is there; else the first by name of those that run, else of those that can be started.
[[nodiscard]] std::optional<std::string> chosenDistributor(const DistributorNames& names,
                                                           std::string_view preferred,
                                                           std::string_view remembered);

}  // namespace xel
