#pragma once

#include <string>

#include "XelPushClient/Platform/UNNotificationContent.h"

namespace xel {

/// A notification to be shown at once.
struct UNNotificationRequest {
    /// A request replaces the one with the same identifier that is still on screen.
    std::string identifier;
    UNNotificationContent content;

    friend bool operator==(const UNNotificationRequest&, const UNNotificationRequest&) = default;
};

}  // namespace xel
