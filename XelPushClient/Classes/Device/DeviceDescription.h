#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "XelPushClient/Platform/Device.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"

namespace xel {

/// Machine identifiers and the display names of the devices they mean.
[[nodiscard]] std::span<const std::pair<std::string_view, std::string_view>> deviceModelList();

/// The display name of a machine identifier, or the identifier itself when the table has none.
[[nodiscard]] std::string_view deviceModelFor(std::string_view machineIdentifier);

/// Describes the device to the backend. Thread: the manager's run loop.
class DeviceDescription {
public:
    DeviceDescription(const UIDevice& device, ReachabilityFactory& reachability)
        : device_(device), reachability_(reachability) {}

    [[nodiscard]] std::string deviceModel() const;
    [[nodiscard]] std::string deviceOsVersion() const;
    [[nodiscard]] PushClientServerReachabilityNetworkType getConnectionType() const;
    /// An alternative source on systems with a status bar; there is none here.
    [[nodiscard]] static std::optional<int> getConnectionTypeFromStatusBar() { return std::nullopt; }

private:
    const UIDevice& device_;
    ReachabilityFactory& reachability_;
};

}  // namespace xel
