#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Classes/GeoLocation/MonitoredRegion.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

/// The regions that are watched, oldest first, kept across launches. Every change is stored at once.
///
/// Owner: `GeoLocation`. Thread: the manager's run loop.
class MonitoredRegions {
public:
    /// Regions come with messages from the network, so that there is an end to them: one more, and the oldest
    /// is given up.
    static constexpr std::size_t kMost = 100;

    struct Crossed {
        CLCircularRegion region;
        RegionCrossing crossing = RegionCrossing::Entered;
        Value message;
        bool isOver = false;  ///< it was the last crossing to be reported
    };

    /// Loads what was stored; what is no region there is left out.
    explicit MonitoredRegions(NSUserDefaults& defaults);

    [[nodiscard]] bool empty() const { return regions_.empty(); }
    [[nodiscard]] std::vector<CLCircularRegion> all() const;
    /// Null when there is none. Valid until the regions change.
    [[nodiscard]] const MonitoredRegion* find(std::string_view identifier) const;

    /// Adds a region, replacing the one with the same identifier. Returns the identifier of the oldest if
    /// that had to go.
    std::optional<std::string> add(MonitoredRegion region);
    /// False when there was none.
    bool remove(std::string_view identifier);
    /// Removes the regions whose time is over, and names them.
    std::vector<std::string> removeExpired(Date now);
    /// The earliest time at which one is over.
    [[nodiscard]] std::optional<Date> nextExpiry() const;

    /// The device is there now: the crossings that this makes. A region whose crossings are used up is
    /// removed.
    std::vector<Crossed> moveTo(const CLLocation& fix);

    /// The distance in metres between positions that misses no crossing to speak of: a tenth of the smallest
    /// radius, from 5 to 100. None without regions.
    [[nodiscard]] std::optional<double> distanceFilter() const;

private:
    void store();

    NSUserDefaults& defaults_;
    std::vector<MonitoredRegion> regions_;
};

}  // namespace xel
