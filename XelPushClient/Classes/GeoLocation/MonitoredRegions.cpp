#include "XelPushClient/Classes/GeoLocation/MonitoredRegions.h"

#include <algorithm>

#include "XelPushClient/Classes/Core/PersistedKeys.h"

namespace xel {
namespace {

constexpr double kFilterOfRadius = 0.1;
constexpr double kSmallestFilter = 5.0;
constexpr double kLargestFilter = 100.0;

/// Counts one crossing; true when it was the last.
bool isUsedUpByCrossing(MonitoredRegion& region) {
    if (region.expireCount <= 0) {
        return false;
    }
    --region.expireCount;
    return region.expireCount == 0;
}

}  // namespace

MonitoredRegions::MonitoredRegions(NSUserDefaults& defaults) : defaults_(defaults) {
    for (const auto& stored : defaults_.arrayForKey(kMonitoredRegionsKey).value_or(Array())) {
        auto region = MonitoredRegion::fromStored(stored);
        if (region && find(region->region.identifier) == nullptr && regions_.size() < kMost) {
            regions_.push_back(std::move(*region));
        }
    }
}

std::vector<CLCircularRegion> MonitoredRegions::all() const {
    std::vector<CLCircularRegion> regions;
    regions.reserve(regions_.size());
    for (const auto& monitored : regions_) {
        regions.push_back(monitored.region);
    }
    return regions;
}

const MonitoredRegion* MonitoredRegions::find(std::string_view identifier) const {
    const auto at = std::find_if(regions_.begin(), regions_.end(), [&](const auto& monitored) {
        return monitored.region.identifier == identifier;
    });
    return at != regions_.end() ? &*at : nullptr;
}

std::optional<std::string> MonitoredRegions::add(MonitoredRegion region) {
    std::erase_if(regions_, [&](const auto& monitored) {
        return monitored.region.identifier == region.region.identifier;
    });
    std::optional<std::string> givenUp;
    if (regions_.size() == kMost) {
        givenUp = regions_.front().region.identifier;
        regions_.erase(regions_.begin());
    }
    regions_.push_back(std::move(region));
    store();
    return givenUp;
}

bool MonitoredRegions::remove(std::string_view identifier) {
    const auto removed = std::erase_if(
        regions_, [&](const auto& monitored) { return monitored.region.identifier == identifier; });
    if (removed != 0) {
        store();
    }
    return removed != 0;
}

std::vector<std::string> MonitoredRegions::removeExpired(Date now) {
    std::vector<std::string> expired;
    std::erase_if(regions_, [&](const auto& monitored) {
        if (monitored.isExpired(now)) {
            expired.push_back(monitored.region.identifier);
        }
        return monitored.isExpired(now);
    });
    if (!expired.empty()) {
        store();
    }
    return expired;
}

std::optional<Date> MonitoredRegions::nextExpiry() const {
    std::optional<Date> next;
    for (const auto& monitored : regions_) {
        if (const auto expiry = monitored.expiry()) {
            next = next ? std::min(*next, *expiry) : *expiry;
        }
    }
    return next;
}

std::vector<MonitoredRegions::Crossed> MonitoredRegions::moveTo(const CLLocation& fix) {
    std::vector<Crossed> crossed;
    bool isChanged = false;
    for (auto& monitored : regions_) {
        const RegionSide before = monitored.side;
        const auto crossing = monitored.moveTo(fix);
        isChanged = isChanged || monitored.side != before;
        if (!crossing) {
            continue;
        }
        const bool isOver = isUsedUpByCrossing(monitored);
        const bool isEntry = *crossing == RegionCrossing::Entered;
        // Copies, because a region whose crossings are used up is gone before they are told.
        crossed.push_back(
            {monitored.region, *crossing, isEntry ? monitored.enterMessage : monitored.exitMessage, isOver});
    }
    for (const auto& over : crossed) {
        if (over.isOver) {
            std::erase_if(regions_, [&](const MonitoredRegion& monitored) {
                return monitored.region.identifier == over.region.identifier;
            });
        }
    }
    if (isChanged) {
        store();
    }
    return crossed;
}

std::optional<double> MonitoredRegions::distanceFilter() const {
    std::optional<double> filter;
    for (const auto& monitored : regions_) {
        const double wanted =
            std::clamp(monitored.region.radius * kFilterOfRadius, kSmallestFilter, kLargestFilter);
        filter = std::min(filter.value_or(wanted), wanted);
    }
    return filter;
}

void MonitoredRegions::store() {
    if (regions_.empty()) {
        defaults_.removeObject(kMonitoredRegionsKey);
    } else {
        Array stored;
        stored.reserve(regions_.size());
        for (const auto& monitored : regions_) {
            stored.push_back(monitored.stored());
        }
        defaults_.setObject(kMonitoredRegionsKey, std::move(stored));
    }
    (void)defaults_.synchronize();
}

}  // namespace xel
