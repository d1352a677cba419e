#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace xel {

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

}  // namespace xel
