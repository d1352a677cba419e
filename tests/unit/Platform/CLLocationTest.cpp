#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/CLLocation.h"

namespace xel {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(CLLocationCoordinate2D, IsValidOnTheEarthOnly) {
    struct Case {
        double latitude;
        double longitude;
        bool isValid;
    };
    const Case cases[] = {
        {0, 0, true},       {35.7, 51.4, true},  {90, 180, true},       {-90, -180, true},
        {90.001, 0, false}, {-90.001, 0, false}, {0, 180.001, false},   {0, -180.001, false},
        {kNaN, 0, false},   {0, kNaN, false},    {kInfinity, 0, false}, {0, -kInfinity, false},
    };
    for (const auto& [latitude, longitude, isValid] : cases) {
        EXPECT_EQ(CLLocationCoordinate2DIsValid(CLLocationCoordinate2DMake(latitude, longitude)), isValid)
            << latitude << ", " << longitude;
    }
}

TEST(GreatCircleDistance, IsThatOfKnownPlaces) {
    struct Case {
        const char* way;
        CLLocationCoordinate2D from;
        CLLocationCoordinate2D to;
        double metres;
        double tolerance;
    };
    // A degree of a great circle is 6371008.8 m * pi / 180 = 111195.08 m.
    const Case cases[] = {
        {"nowhere", {35.7, 51.4}, {35.7, 51.4}, 0.0, 0.0},
        {"a degree of the equator", {0, 0}, {0, 1}, 111195.08, 0.01},
        {"a degree of a meridian", {35, 51}, {36, 51}, 111195.08, 0.01},
        {"a degree along 60 degrees north", {60, 10}, {60, 11}, 55595.42, 2.0},
        {"a second of a meridian", {35.7, 51.4}, {35.7 + 1.0 / 3600, 51.4}, 30.8875, 0.001},
        {"over the date line", {0, 179.5}, {0, -179.5}, 111195.08, 0.01},
        {"over the pole", {89.5, 0}, {89.5, 180}, 111195.08, 0.01},
        {"to the antipode", {35.7, 51.4}, {-35.7, -128.6}, 20015114.4, 1.0},
        {"from pole to pole", {90, 0}, {-90, 77}, 20015114.4, 1.0},
        // The usual example of the haversine formula: 2886.44 km on a sphere of 6371 km.
        {"Nashville to Los Angeles", {36.12, -86.67}, {33.94, -118.40}, 2886448.0, 10.0},
    };
    for (const auto& [way, from, to, metres, tolerance] : cases) {
        EXPECT_NEAR(greatCircleDistance(from, to), metres, tolerance) << way;
        EXPECT_NEAR(greatCircleDistance(to, from), metres, tolerance) << way << ", back";
    }
}

TEST(GreatCircleDistance, IsNoPlaceOfNotANumber) {
    EXPECT_TRUE(std::isnan(greatCircleDistance({kNaN, 0}, {0, 0})));
}

}  // namespace
}  // namespace xel
