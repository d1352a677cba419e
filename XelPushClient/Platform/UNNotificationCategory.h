#pragma once

#include <string>
#include <vector>

#include "XelPushClient/Platform/UNNotificationAction.h"

namespace xel {

/// A kind of notification, and the buttons of its notifications in order.
struct UNNotificationCategory {
    std::string identifier;
    std::vector<UNNotificationAction> actions;

    friend bool operator==(const UNNotificationCategory&, const UNNotificationCategory&) = default;
};

}  // namespace xel
