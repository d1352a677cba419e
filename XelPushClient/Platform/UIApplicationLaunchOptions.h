#pragma once

#include <string_view>

namespace xel {

// The keys of what a host is told about its launch, for the host to pass on.

/// The remote notification that the user launched the application with: its payload, a dictionary.
inline constexpr std::string_view UIApplicationLaunchOptionsRemoteNotificationKey =
    "UIApplicationLaunchOptionsRemoteNotificationKey";

/// There when the system launched the application for a location event, without the user; any value.
inline constexpr std::string_view UIApplicationLaunchOptionsLocationKey =
    "UIApplicationLaunchOptionsLocationKey";

}  // namespace xel
