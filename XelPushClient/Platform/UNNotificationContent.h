#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// The sound of a notification: one that the notification service knows by name, or its default one.
struct UNNotificationSound {
    /// Missing: the default sound.
    std::optional<std::string> name;

    [[nodiscard]] static UNNotificationSound soundNamed(std::string name) { return {std::move(name)}; }
    [[nodiscard]] static UNNotificationSound defaultSound() { return {}; }

    friend bool operator==(const UNNotificationSound&, const UNNotificationSound&) = default;
};

/// Domain and codes of the errors of notifications.
inline constexpr std::string_view UNErrorDomain = "UNErrorDomain";

enum class UNErrorCode : std::int64_t {
    AttachmentInvalidURL = 100,      ///< no file was named, or none is there
    AttachmentInvalidFile = 101,     ///< it cannot be read, or is not a file
    NotificationNotDelivered = 1000  ///< the notification service did not take it
};

/// A file that is shown with a notification. Made by `UNUserNotificationCenter`, which checks the file.
struct UNNotificationAttachment {
    std::string identifier;
    /// The file's absolute path.
    std::string file;

    friend bool operator==(const UNNotificationAttachment&, const UNNotificationAttachment&) = default;
};

/// What a notification shows.
struct UNNotificationContent {
    std::optional<std::string> title;
    std::optional<std::string> body;
    std::optional<std::string> subtitle;
    /// Missing: silent.
    std::optional<UNNotificationSound> sound;
    /// Missing: the application's badge stays as it is.
    std::optional<std::int64_t> badge;
    /// Comes back with the user's response.
    Dictionary userInfo;
    /// Names the category whose buttons it has; missing: none.
    std::optional<std::string> categoryIdentifier;
    std::vector<UNNotificationAttachment> attachments;

    friend bool operator==(const UNNotificationContent&, const UNNotificationContent&) = default;
};

/// A notification to be shown at once.
struct UNNotificationRequest {
    /// A request replaces the one with the same identifier that is still on screen.
    std::string identifier;
    UNNotificationContent content;

    friend bool operator==(const UNNotificationRequest&, const UNNotificationRequest&) = default;
};

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

/// A kind of notification, and the buttons of its notifications in order.
struct UNNotificationCategory {
    std::string identifier;
    std::vector<UNNotificationAction> actions;

    friend bool operator==(const UNNotificationCategory&, const UNNotificationCategory&) = default;
};

}  // namespace xel
