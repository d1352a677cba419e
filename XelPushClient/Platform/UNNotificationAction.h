#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace xel {

/// The action that stands for the notification itself: the user chose it as a whole, no button of it.
inline constexpr std::string_view UNNotificationDefaultActionIdentifier =
    "UNNotificationDefaultActionIdentifier";

/// A button of a notification.
struct UNNotificationAction {
    /// What the host is told when the user chose it.
    std::string identifier;
    std::string title;
    /// Option bits of the notification service; 0: none.
    std::uint32_t options = 0;

    friend bool operator==(const UNNotificationAction&, const UNNotificationAction&) = default;
};

}  // namespace xel
