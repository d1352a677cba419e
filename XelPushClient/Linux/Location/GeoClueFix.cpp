#include "XelPushClient/Linux/Location/GeoClueFix.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <tuple>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Platform/LocationSource.h"

namespace xel {
namespace {

constexpr double kUnknown = -1.0;
constexpr double kBestAccuracy = 5.0;  // metres

bool isKnown(double number) {
    return number >= 0.0 && std::isfinite(number);
}

bool isRefusal(const std::string& name) {
    return name == "org.freedesktop.DBus.Error.AccessDenied" ||
           name == "org.freedesktop.DBus.Error.AuthFailed";
}

bool isTimeout(const std::string& name) {
    constexpr std::array kNames = {"org.freedesktop.DBus.Error.NoReply", "org.freedesktop.DBus.Error.Timeout",
                                   "org.freedesktop.DBus.Error.TimedOut", "System.Error.ETIMEDOUT"};
    return std::ranges::find(kNames, name) != kNames.end();
}

double numberUnder(const std::map<std::string, sdbus::Variant>& properties, const char* name,
                   double otherwise) {
    const auto at = properties.find(name);
    return at != properties.end() && at->second.containsValueOfType<double>() ? at->second.get<double>()
                                                                              : otherwise;
}

}  // namespace

GeoClueFix fixOfProperties(const std::map<std::string, sdbus::Variant>& properties) {
    using Timestamp = sdbus::Struct<std::uint64_t, std::uint64_t>;
    constexpr double kNowhere = std::numeric_limits<double>::quiet_NaN();
    GeoClueFix fix;
    fix.latitude = numberUnder(properties, "Latitude", kNowhere);
    fix.longitude = numberUnder(properties, "Longitude", kNowhere);
    fix.accuracy = numberUnder(properties, "Accuracy", kUnknown);
    fix.speed = numberUnder(properties, "Speed", kUnknown);
    const auto time = properties.find("Timestamp");
    if (time != properties.end() && time->second.containsValueOfType<Timestamp>()) {
        std::tie(fix.seconds, fix.microseconds) = time->second.get<Timestamp>();
    }
    return fix;
}

CLLocation locationOf(const GeoClueFix& fix) {
    CLLocation location;
    location.coordinate = CLLocationCoordinate2DMake(fix.latitude, fix.longitude);
    location.horizontalAccuracy = isKnown(fix.accuracy) ? std::max(fix.accuracy, kBestAccuracy) : kUnknown;
    location.speed = isKnown(fix.speed) ? fix.speed : kUnknown;
    location.timestamp = dateFromSecondsSince1970(static_cast<double>(fix.seconds) +
                                                  static_cast<double>(fix.microseconds) / 1e6);
    return location;
}

std::uint32_t distanceThresholdOf(double distanceFilter) {
    constexpr auto kMost = static_cast<double>(std::numeric_limits<std::uint32_t>::max());
    return isKnown(distanceFilter) ? static_cast<std::uint32_t>(std::min(distanceFilter, kMost)) : 0;
}

NSError locationErrorOf(const std::string& name, const std::string& message,
                        std::chrono::milliseconds patience) {
    if (isRefusal(name)) {
        return makeLocationError(LocationErrorCode::Denied,
                                 "GeoClue does not tell this application the location: " + message);
    }
    if (isTimeout(name)) {
        const double seconds = std::chrono::duration<double>(patience).count();
        return makeLocationError(
            LocationErrorCode::TimedOut,
            formatted("GeoClue did not let this application in within %.0f s: no location agent runs for "
                      "this user that could allow it, or it has not answered",
                      seconds));
    }
    return makeLocationError(LocationErrorCode::NoService,
                             formatted("no location service on this machine: %@ (%@)", message, name));
}

}  // namespace xel
