#include "XelPushClient/Platform/CLLocation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace xel {
namespace {

constexpr double kEarthMeanRadius = 6371008.8;  // metres
constexpr double kLargestLatitude = 90.0;
constexpr double kLargestLongitude = 180.0;

double radians(double degrees) {
    return degrees * std::numbers::pi / 180.0;
}

double squareOfHalfSine(double angle) {
    const double sine = std::sin(angle / 2.0);
    return sine * sine;
}

}  // namespace

CLLocationCoordinate2D CLLocationCoordinate2DMake(double latitude, double longitude) {
    return {latitude, longitude};
}

bool CLLocationCoordinate2DIsValid(const CLLocationCoordinate2D& coordinate) {
    return std::abs(coordinate.latitude) <= kLargestLatitude &&
           std::abs(coordinate.longitude) <= kLargestLongitude;
}

double greatCircleDistance(const CLLocationCoordinate2D& from, const CLLocationCoordinate2D& to) {
    // The haversine formula: exact to the centimetre for neighbours, where the cosine rule loses its digits.
    const double across = squareOfHalfSine(radians(to.latitude - from.latitude)) +
                          std::cos(radians(from.latitude)) * std::cos(radians(to.latitude)) *
                              squareOfHalfSine(radians(to.longitude - from.longitude));
    // Rounding may carry antipodes a little beyond 1, where the arc sine has no value.
    return 2.0 * kEarthMeanRadius * std::asin(std::sqrt(std::min(across, 1.0)));
}

}  // namespace xel
