#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// Keys of an error's details.
inline constexpr std::string_view NSLocalizedDescriptionKey = "NSLocalizedDescription";
inline constexpr std::string_view NSLocalizedFailureReasonErrorKey = "NSLocalizedFailureReason";
inline constexpr std::string_view NSLocalizedRecoverySuggestionErrorKey = "NSLocalizedRecoverySuggestion";

/// What went wrong: a code, the domain that defines it, and details under the keys above. Never holds a
/// secret: errors reach logs and users' screens.
struct NSError {
    std::string domain;
    std::int64_t code = 0;
    Dictionary userInfo;

    /// The text under `NSLocalizedDescriptionKey`, or "domain error code" when there is none.
    [[nodiscard]] std::string localizedDescription() const;
    [[nodiscard]] std::optional<std::string> localizedFailureReason() const;
    [[nodiscard]] std::optional<std::string> localizedRecoverySuggestion() const;

    friend bool operator==(const NSError&, const NSError&) = default;
};

/// An error with a description and nothing else.
[[nodiscard]] NSError makeError(std::string_view domain, std::int64_t code, std::string_view description);

/// How an error reads in a log line: domain, code and description.
[[nodiscard]] std::string describeError(const NSError& error);

}  // namespace xel
