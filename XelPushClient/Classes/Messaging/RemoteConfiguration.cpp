#include "XelPushClient/Classes/Messaging/RemoteConfiguration.h"

namespace xel {
namespace {

constexpr std::size_t kLatitudeAndLongitude = 2;

Value valueUnder(const Dictionary& dictionary, std::string_view key) {
    const Value* value = dictionary.find(key);
    return value != nullptr ? *value : Value();
}

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
    const auto radius = valueUnder(geofence, "r").number();
    const Value identifier = valueUnder(geofence, "id");
    if (!latitude || !longitude || !radius || !identifier.isString()) {
        return false;
    }
    const CLCircularRegion region{CLLocationCoordinate2DMake(*latitude, *longitude), *radius,
                                  *identifier.asString()};
    return location_
        .startMonitoringRegion(region, valueUnder(geofence, "count").integer().value_or(0),
                               valueUnder(geofence, "expire").number().value_or(0.0),
                               valueUnder(geofence, "enter"), valueUnder(geofence, "exit"))
        .isOk();
}

bool RemoteConfiguration::stopMonitoring(const Dictionary& geofence) {
    const Value identifier = valueUnder(geofence, "id");
    if (!identifier.isString()) {
        return false;
    }
    if (const auto region = location_.getRegionWithIdentifier(*identifier.asString())) {
        location_.stopMonitoringRegion(*region);
        TVRLog(log_, "'%@' region monitoring was stopped", region->identifier);
    }
    return true;
}

}  // namespace xel
