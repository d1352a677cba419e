#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// 3 to 32 UTF-16 units without white space, "#", "+", "/", "*" and backslash.
[[nodiscard]] bool isUserIdValid(const std::optional<std::string>& userId);

/// Not blank, and without white space, "#", "+", "*" and backslash. A slash is allowed: scopes and events use
/// it.
[[nodiscard]] bool isChannelValid(std::string_view channel);

/// A valid channel without a slash.
[[nodiscard]] bool isEventNameValid(std::string_view eventName);

/// Whether the text holds none of the characters that the pattern forbids. The pattern is an alternation
/// ("|") of the white space class `\s` and of single characters, escaped by a backslash where they need it:
/// all that the service's rules use. Scanned character by character, because a regular-expression engine may
/// exhaust the stack on a long text.
[[nodiscard]] bool checkValidationOfString(std::string_view text, std::string_view pattern);

/// An error of the domain "InvalidParameter" with that description.
[[nodiscard]] NSError generateInvalidParameterErrorWithMessage(std::string_view message);

}  // namespace xel
