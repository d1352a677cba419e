#include "XelPushClient/Classes/GeoLocation/MonitoredRegion.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "XelPushClient/Classes/GeoLocation/UsableFix.h"
#include "XelPushClient/Foundation/DictionaryReading.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Platform/LocationSource.h"

namespace xel {
namespace {

constexpr double kLeastMargin = 20.0;
constexpr double kMarginOfRadius = 0.1;

NSError notValid(const std::string& description) {
    return makeLocationError(LocationErrorCode::NotValid, description);
}

bool isTooLong(const Value& message) {
    return printJSON(message, JSONLayout::OneLine).size() > MonitoredRegion::kLongestMessage;
}

RegionSide storedSide(const Value& inside) {
    if (!inside.isBool()) {
        return RegionSide::Unknown;
    }
    return inside.truth() ? RegionSide::Inside : RegionSide::Outside;
}

}  // namespace

Result<void> MonitoredRegion::check() const {
    if (region.identifier.empty() || region.identifier.size() > kLongestIdentifier) {
        return notValid(formatted("a region's identifier has 1 to %d octets", kLongestIdentifier));
    }
    if (!CLLocationCoordinate2DIsValid(region.center)) {
        return notValid(formatted("region '%@' has its centre at %f, %f, which is no place",
                                  region.identifier, region.center.latitude, region.center.longitude));
    }
    // Asked this way round, so that not-a-number is refused too.
    const bool isRadius = region.radius > 0.0 && region.radius <= kLargestRadius;
    if (!isRadius) {
        return notValid(formatted("region '%@' has a radius of %f m; it is more than 0 and at most %.0f",
                                  region.identifier, region.radius, kLargestRadius));
    }
    if (isTooLong(enterMessage) || isTooLong(exitMessage)) {
        return notValid(formatted("region '%@' has a message of more than %d octets", region.identifier,
                                  kLongestMessage));
    }
    return {};
}

std::optional<Date> MonitoredRegion::expiry() const {
    const bool isInstant = expireTs > 0.0 && std::isfinite(expireTs);
    return isInstant ? std::optional(dateFromMillisecondsSince1970(expireTs)) : std::nullopt;
}

bool MonitoredRegion::isExpired(Date now) const {
    const auto end = expiry();
    return end && *end <= now;
}

RegionSide MonitoredRegion::sideOf(const CLLocation& fix) const {
    if (!isAccurateWithin(fix, region.radius)) {
        return RegionSide::Unknown;
    }
    const double distance = greatCircleDistance(region.center, fix.coordinate);
    if (distance <= region.radius) {
        return RegionSide::Inside;
    }
    const double margin = std::max({fix.horizontalAccuracy, region.radius * kMarginOfRadius, kLeastMargin});
    return distance > region.radius + margin ? RegionSide::Outside : RegionSide::Unknown;
}

std::optional<RegionCrossing> MonitoredRegion::moveTo(const CLLocation& fix) {
    const RegionSide now = sideOf(fix);
    if (now == RegionSide::Unknown || now == side) {
        return std::nullopt;
    }
    const RegionSide before = std::exchange(side, now);
    if (before == RegionSide::Unknown) {
        return std::nullopt;
    }
    return now == RegionSide::Inside ? RegionCrossing::Entered : RegionCrossing::Left;
}

Value MonitoredRegion::stored() const {
    Dictionary record{
        {"id", region.identifier}, {"center", Array{region.center.latitude, region.center.longitude}},
        {"r", region.radius},      {"count", expireCount},
        {"expire", expireTs},      {"enter", enterMessage},
        {"exit", exitMessage}};
    if (side != RegionSide::Unknown) {
        record.set("inside", side == RegionSide::Inside);
    }
    return record;
}

std::optional<MonitoredRegion> MonitoredRegion::fromStored(const Value& stored) {
    const Dictionary* record = stored.asDictionary();
    if (record == nullptr) {
        return std::nullopt;
    }
    auto identifier = textUnder(*record, "id");
    const auto center = arrayUnder(*record, "center");
    if (!identifier || !center || center->size() != 2) {
        return std::nullopt;
    }
    constexpr double kNoPlace = std::numeric_limits<double>::quiet_NaN();
    MonitoredRegion region;
    region.region = {CLLocationCoordinate2DMake(center->front().number().value_or(kNoPlace),
                                                center->back().number().value_or(kNoPlace)),
                     numberUnder(*record, "r").value_or(0.0), std::move(*identifier)};
    region.expireCount = integerUnder(*record, "count").value_or(0);
    region.expireTs = numberUnder(*record, "expire").value_or(0.0);
    region.enterMessage = valueUnder(*record, "enter");
    region.exitMessage = valueUnder(*record, "exit");
    region.side = storedSide(valueUnder(*record, "inside"));
    return region.check() ? std::optional(std::move(region)) : std::nullopt;
}

}  // namespace xel
