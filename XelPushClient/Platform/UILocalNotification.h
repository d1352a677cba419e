#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// The name of the platform's default notification sound.
inline constexpr std::string_view UILocalNotificationDefaultSoundName = "UILocalNotificationDefaultSoundName";

/// A plain notification that the application raises itself.
struct UILocalNotification {
    std::optional<std::string> alertTitle;
    std::optional<std::string> alertBody;
    std::optional<std::string> soundName;
    std::int64_t applicationIconBadgeNumber = 0;
    Dictionary userInfo;
};

}  // namespace xel
