#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace xel {

/// The user chose the notification itself rather than one of its buttons.
inline constexpr std::string_view UNNotificationDefaultActionIdentifier =
    "UNNotificationDefaultActionIdentifier";

/// A button of a notification.
struct UNNotificationAction {
    /// What the host is told when the user chooses it.
    std::string identifier;
    std::string title;
    /// Option bits of the notification service; 0: none.
    std::uint32_t options = 0;

    friend bool operator==(const UNNotificationAction&, const UNNotificationAction&) = default;
};

}  // namespace xel
