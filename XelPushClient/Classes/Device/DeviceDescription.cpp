#include "XelPushClient/Classes/Device/DeviceDescription.h"

#include <array>

namespace xel {
namespace {

using Model = std::pair<std::string_view, std::string_view>;

// Names are kept as published, odd ordinals included: the backend groups devices by them.
constexpr std::array<Model, 66> kModels = {{
    {"i386", "Simulator"},
    {"x86_64", "Simulator"},
    {"iPhone1,1", "iPhone"},
    {"iPhone1,2", "iPhone 3G"},
    {"iPhone2,1", "iPhone 3GS"},
    {"iPhone3,1", "iPhone 4"},
    {"iPhone3,3", "iPhone 4"},
    {"iPhone4,1", "iPhone 4S"},
    {"iPhone5,1", "iPhone 5"},
    {"iPhone5,2", "iPhone 5"},
    {"iPhone5,3", "iPhone 5c"},
    {"iPhone5,4", "iPhone 5c"},
    {"iPhone6,1", "iPhone 5s"},
    {"iPhone6,2", "iPhone 5s"},
    {"iPhone7,1", "iPhone 6 Plus"},
    {"iPhone7,2", "iPhone 6"},
    {"iPhone8,1", "iPhone 6S"},
    {"iPhone8,2", "iPhone 6S Plus"},
    {"iPhone8,4", "iPhone SE"},
    {"iPhone9,1", "iPhone 7"},
    {"iPhone9,3", "iPhone 7"},
    {"iPhone9,2", "iPhone 7 Plus"},
    {"iPhone9,4", "iPhone 7 Plus"},
    {"iPhone10,1", "iPhone 8"},
    {"iPhone10,4", "iPhone 8"},
    {"iPhone10,2", "iPhone 8 Plus"},
    {"iPhone10,5", "iPhone 8 Plus"},
    {"iPhone10,3", "iPhone X"},
    {"iPhone10,6", "iPhone X"},
    {"iPad1,1", "iPad"},
    {"iPad2,1", "iPad 2"},
    {"iPad2,2", "iPad 2"},
    {"iPad2,3", "iPad 2"},
    {"iPad2,4", "iPad 2"},
    {"iPad2,5", "iPad Mini"},
    {"iPad2,6", "iPad Mini"},
    {"iPad2,7", "iPad Mini"},
    {"iPad3,1", "iPad 3"},
    {"iPad3,2", "iPad 3"},
    {"iPad3,3", "iPad 3"},
    {"iPad3,4", "iPad 4"},
    {"iPad3,5", "iPad 4"},
    {"iPad3,6", "iPad 4"},
    {"iPad4,1", "iPad Air"},
    {"iPad4,2", "iPad Air"},
    {"iPad4,3", "iPad Air"},
    {"iPad4,4", "iPad Mini 2"},
    {"iPad4,5", "iPad Mini 2"},
    {"iPad4,6", "iPad Mini 2"},
    {"iPad4,7", "iPad Mini 3"},
    {"iPad4,8", "iPad Mini 3"},
    {"iPad4,9", "iPad Mini 3"},
    {"iPad5,1", "iPad Mini 4"},
    {"iPad5,2", "iPad Mini 4"},
    {"iPad5,3", "iPad Air 2"},
    {"iPad5,4", "iPad Air 2"},
    {"iPad6,3", "iPad Pro (12.9\")"},
    {"iPad6,4", "iPad Pro (12.9\")"},
    {"iPad6,7", "iPad Pro (9.7\")"},
    {"iPad6,8", "iPad Pro (9.7\")"},
    {"iPod1,1", "iPod Touch"},
    {"iPod2,1", "iPod Touch (2nd gen)"},
    {"iPod3,1", "iPod Touch (3nd gen)"},
    {"iPod4,1", "iPod Touch (4nd gen)"},
    {"iPod5,1", "iPod Touch (5nd gen)"},
    {"iPod7,1", "iPod Touch (6nd gen)"},
}};

}  // namespace

std::span<const std::pair<std::string_view, std::string_view>> deviceModelList() {
    return kModels;
}

std::string_view deviceModelFor(std::string_view machineIdentifier) {
    for (const auto& [identifier, name] : kModels) {
        if (identifier == machineIdentifier) {
            return name;
        }
    }
    return machineIdentifier;
}

std::string DeviceDescription::deviceModel() const {
    const std::string identifier = device_.machineIdentifier();
    return std::string(deviceModelFor(identifier));
}

std::string DeviceDescription::deviceOsVersion() const {
    return device_.systemVersion();
}

PushClientServerReachabilityNetworkType DeviceDescription::getConnectionType() const {
    return reachability_.getConnectionType();
}

}  // namespace xel
