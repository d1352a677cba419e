#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

// Everything that can be said against a name without asking the service: the rules of the service, and
// what no broker may be sent, which would otherwise be found out by a failed connection or subscription.
// The errors are of the domain "InvalidParameter".

/// For `registerUser`: a valid id that a client id may hold.
[[nodiscard]] Result<void> checkUserId(const std::optional<std::string>& userId);

/// For `subscribe` and `registerUser`: "news", "public/news" or "private/orders", of characters that a
/// topic may hold.
[[nodiscard]] Result<void> checkChannel(std::string_view channel);

}  // namespace xel
