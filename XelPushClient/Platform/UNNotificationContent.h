#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Platform/UNNotificationAttachment.h"
#include "XelPushClient/Platform/UNNotificationSound.h"

namespace xel {

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

}  // namespace xel
