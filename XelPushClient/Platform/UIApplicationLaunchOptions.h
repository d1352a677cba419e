#pragma once

#include <string_view>

namespace xel {

// Keys of what the system tells a host about its launch, for the host to pass on.

/// The remote notification that the user launched the application with: its payload, a dictionary.
inline constexpr std::string_view UIApplicationLaunchOptionsRemoteNotificationKey =
    "UIApplicationLaunchOptionsRemoteNotificationKey";

/// Present, with any value, when the system launched the application for a location event, without the
/// user.
inline constexpr std::string_view UIApplicationLaunchOptionsLocationKey =
    "UIApplicationLaunchOptionsLocationKey";

}  // namespace xel
