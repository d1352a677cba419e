#pragma once

#include <optional>
#include <string>
#include <utility>

namespace xel {

/// The sound of a notification: one that the notification service knows by name, or its default one.
struct UNNotificationSound {
    /// Missing: the default sound.
    std::optional<std::string> name;

    [[nodiscard]] static UNNotificationSound soundNamed(std::string name) { return {std::move(name)}; }
    [[nodiscard]] static UNNotificationSound defaultSound() { return {}; }

    friend bool operator==(const UNNotificationSound&, const UNNotificationSound&) = default;
};

}  // namespace xel
