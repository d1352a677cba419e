#include "XelPushClient/Classes/Messaging/RemoteConfiguration.h"

#include <utility>

#include "XelPushClient/Foundation/DictionaryReading.h"

namespace xel {
namespace {

constexpr std::size_t kLatitudeAndLongitude = 2;

}  // namespace

RemoteConfiguration::RemoteConfiguration(CoreGeoLocation& location, const LogOutput& log)
    : location_(location), log_(log) {}

void RemoteConfiguration::backdoorConfigs(const Dictionary& data,
                                          const std::optional<std::string>& /*topic*/) {
    const Value* geofence = data.find("geofence");
    if (geofence != nullptr && geofence->asDictionary() != nullptr) {
        (void)backdoorGeofenceConfig(*geofence->asDictionary());
    }
}

bool RemoteConfiguration::backdoorGeofenceConfig(const Dictionary& geofence) {
    const Value* center = geofence.find("center");
    const Array* elements = center != nullptr ? center->asArray() : nullptr;
    const bool isPlace = elements != nullptr && elements->size() == kLatitudeAndLongitude;
    return isPlace ? startMonitoring(geofence, *elements) : stopMonitoring(geofence);
}

bool RemoteConfiguration::startMonitoring(const Dictionary& geofence, const Array& center) {
    const auto latitude = center.front().number();
    const auto longitude = center.back().number();
    const auto radius = numberUnder(geofence, "r");
    auto identifier = textUnder(geofence, "id");
    if (!latitude || !longitude || !radius || !identifier) {
        return false;
    }
    const CLCircularRegion region{CLLocationCoordinate2DMake(*latitude, *longitude), *radius,
                                  std::move(*identifier)};
    return location_
        .startMonitoringRegion(region, integerUnder(geofence, "count").value_or(0),
                               numberUnder(geofence, "expire").value_or(0.0), valueUnder(geofence, "enter"),
                               valueUnder(geofence, "exit"))
        .isOk();
}

bool RemoteConfiguration::stopMonitoring(const Dictionary& geofence) {
    const auto identifier = textUnder(geofence, "id");
    if (!identifier) {
        return false;
    }
    if (const auto region = location_.getRegionWithIdentifier(*identifier)) {
        location_.stopMonitoringRegion(*region);
        TVRLog(log_, "'%@' region monitoring was stopped", region->identifier);
    }
    return true;
}

}  // namespace xel
