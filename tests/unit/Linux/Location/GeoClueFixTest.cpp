#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Location/GeoClueFix.h"
#include "XelPushClient/Platform/LocationSource.h"

namespace xel {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(GeoClueFix, KeepsPlaceAndTime) {
    const auto location = locationOf({35.7, -51.4, 12.5, 1.25, 1772357400, 250000});
    EXPECT_EQ(location, (CLLocation{{35.7, -51.4}, 12.5, 1.25, dateFromSecondsSince1970(1772357400.25)}));
}

TEST(GeoClueFix, ReadsWhatHasItsType) {
    const auto fix = fixOfProperties(
        {{"Latitude", sdbus::Variant(35.7)},
         {"Longitude", sdbus::Variant(-51.4)},
         {"Accuracy", sdbus::Variant(std::uint64_t{12})},
         {"Speed", sdbus::Variant(1.25)},
         {"Timestamp", sdbus::Variant(sdbus::Struct<std::uint64_t, std::uint64_t>(1772357400, 250000))},
         {"Description", sdbus::Variant(std::string("Wi-Fi"))}});
    EXPECT_EQ(locationOf(fix),
              (CLLocation{{35.7, -51.4}, -1.0, 1.25, dateFromSecondsSince1970(1772357400.25)}));
    EXPECT_FALSE(CLLocationCoordinate2DIsValid(locationOf(fixOfProperties({})).coordinate));
}

TEST(GeoClueFix, KnowsWhatIsNotKnown) {
    struct Case {
        double accuracy;
        double speed;
        double wantedAccuracy;
        double wantedSpeed;
    };
    const Case cases[] = {
        {-1, -1, -1, -1},     {0, 0, 5, 0},
        {1, 0.5, 5, 0.5},     {3, 3, 5, 3},
        {5.5, 10, 5.5, 10},   {25000, -0.1, 25000, -1},
        {kNaN, kNaN, -1, -1}, {kInfinity, kInfinity, -1, -1},
    };
    for (const auto& [accuracy, speed, wantedAccuracy, wantedSpeed] : cases) {
        const auto location = locationOf({0, 0, accuracy, speed, 0, 0});
        EXPECT_EQ(location.horizontalAccuracy, wantedAccuracy) << accuracy;
        EXPECT_EQ(location.speed, wantedSpeed) << speed;
    }
}

TEST(GeoClueFix, CutsTheDistanceToWholeMetres) {
    const std::pair<double, std::uint32_t> cases[] = {
        {0, 0},  {0.9, 0},  {12.5, 12},     {4294967295.0, 4294967295U}, {1e300, 4294967295U},
        {-5, 0}, {kNaN, 0}, {kInfinity, 0},
    };
    for (const auto& [filter, threshold] : cases) {
        EXPECT_EQ(distanceThresholdOf(filter), threshold) << filter;
    }
}

TEST(GeoClueFix, TellsErrorsApart) {
    struct Case {
        const char* name;
        LocationErrorCode code;
        const char* text;
    };
    const Case cases[] = {
        {"org.freedesktop.DBus.Error.AccessDenied", LocationErrorCode::Denied,
         "GeoClue does not tell this application the location: said"},
        {"org.freedesktop.DBus.Error.NoReply", LocationErrorCode::TimedOut, "within 25 s: no location agent"},
        {"org.freedesktop.DBus.Error.Timeout", LocationErrorCode::TimedOut, "no location agent runs"},
        {"System.Error.ETIMEDOUT", LocationErrorCode::TimedOut, "no location agent runs"},
        {"org.freedesktop.DBus.Error.ServiceUnknown", LocationErrorCode::NoService,
         "no location service on this machine: said (org.freedesktop.DBus.Error.ServiceUnknown)"},
        {"anything else", LocationErrorCode::NoService, "no location service on this machine: said"},
    };
    for (const auto& [name, code, text] : cases) {
        const auto error = locationErrorOf(name, "said", std::chrono::seconds(25));
        EXPECT_EQ(error.domain, kLocationErrorDomain);
        EXPECT_EQ(error.code, static_cast<int>(code)) << name;
        EXPECT_NE(error.localizedDescription().find(text), std::string::npos) << error.localizedDescription();
    }
}

}  // namespace
}  // namespace xel
