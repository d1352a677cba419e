#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Platform/PushClientServerReachability.h"

namespace xel {

/// The default route that the kernel would take now.
struct DefaultRoute {
    std::string interfaceName;
    PushClientServerReachabilityNetworkType networkType = PushClientServerReachabilityWifiNetworkType;
};

/// Asks the kernel (rtnetlink(7)) for the default route of the smallest metric, IPv4 or IPv6, whose link is
/// up; none when there is no such route or when the kernel cannot be asked. From any thread; a few system
/// calls, never waits for anything but the kernel.
[[nodiscard]] std::optional<DefaultRoute> readDefaultRoute();

/// Cellular for the interfaces of mobile broadband, whose names begin with "ww" (wwan0, wwp0s20u4), else
/// Wi-Fi, which stands for every other kind, wired and loopback too.
[[nodiscard]] PushClientServerReachabilityNetworkType networkTypeOfInterface(std::string_view name);

}  // namespace xel
