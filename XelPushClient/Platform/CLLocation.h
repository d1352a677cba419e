#pragma once

#include <string>

#include "XelPushClient/Foundation/Date.h"

namespace xel {

/// A place on the Earth (WGS 84): degrees north of the equator, and degrees east of Greenwich.
struct CLLocationCoordinate2D {
    double latitude = 0.0;
    double longitude = 0.0;

    friend bool operator==(const CLLocationCoordinate2D&, const CLLocationCoordinate2D&) = default;
};

[[nodiscard]] CLLocationCoordinate2D CLLocationCoordinate2DMake(double latitude, double longitude);

/// Latitude within -90 to 90, longitude within -180 to 180; not-a-number is neither.
[[nodiscard]] bool CLLocationCoordinate2DIsValid(const CLLocationCoordinate2D& coordinate);

/// One fix: where the device was, and when.
struct CLLocation {
    CLLocationCoordinate2D coordinate;
    /// Metres around the coordinate within which the device is. Negative: unknown.
    double horizontalAccuracy = -1.0;
    /// Metres per second over ground. Negative: unknown.
    double speed = -1.0;
    /// When the device was there.
    Date timestamp{};

    friend bool operator==(const CLLocation&, const CLLocation&) = default;
};

/// A circle on the Earth that can be entered and left.
struct CLCircularRegion {
    CLLocationCoordinate2D center;
    /// Metres.
    double radius = 0.0;
    std::string identifier;

    friend bool operator==(const CLCircularRegion&, const CLCircularRegion&) = default;
};

/// Metres between two places along the great circle, on a sphere of the Earth's mean radius: within 0.6 %
/// of the distance on the ellipsoid.
[[nodiscard]] double greatCircleDistance(const CLLocationCoordinate2D& from,
                                         const CLLocationCoordinate2D& to);

}  // namespace xel
