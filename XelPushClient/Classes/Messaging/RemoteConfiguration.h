#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"

namespace xel {

/// Applies the configuration that the service sends inside ordinary messages: regions to watch.
///
/// What comes is from the network: a malformed block is ignored without a line. Owner: the manager. Thread:
/// the manager's run loop. Keeps nothing.
class RemoteConfiguration {
public:
    RemoteConfiguration(CoreGeoLocation& location, const LogOutput& log);

    /// Applies the "geofence" of a message's data, if there is one. The topic does not matter.
    void backdoorConfigs(const Dictionary& data, const std::optional<std::string>& topic);

    /// With "center" [latitude, longitude] in degrees: starts watching the region "id" of radius "r" metres,
    /// with the messages "enter" and "exit", for "count" crossings and until "expire", milliseconds since
    /// 1970. Without a centre of two elements: stops watching the region "id". True when a region was
    /// started, or one was to be stopped, whether it was watched or not.
    bool backdoorGeofenceConfig(const Dictionary& geofence);

private:
    bool startMonitoring(const Dictionary& geofence, const Array& center);
    bool stopMonitoring(const Dictionary& geofence);

    CoreGeoLocation& location_;
    const LogOutput& log_;
};

}  // namespace xel
