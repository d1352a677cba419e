#pragma once

#include <cstdint>
#include <optional>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/CLLocation.h"

namespace xel {

enum class RegionSide { Unknown, Inside, Outside };
enum class RegionCrossing { Entered, Left };

/// A region, for how long it is watched, what to say at its border, and on which side the device was last.
///
/// A plain value. Where the border is: a device is in when it comes as near as the radius, and out when it is
/// further than the radius and a margin, which is the fix's accuracy, a tenth of the radius or 20 m,
/// whichever is the most. So positions that jump about on the border are one crossing. A fix that is not
/// known to be as accurate as the radius decides nothing, and the first one that does decide sets the side
/// without a crossing.
struct MonitoredRegion {
    /// The most metres of a radius: a quarter of the way round the Earth. More is no region.
    static constexpr double kLargestRadius = 10'000'000.0;
    static constexpr std::size_t kLongestIdentifier = 255;  // octets
    /// Octets of a message as a JSON document.
    static constexpr std::size_t kLongestMessage = 4096;

    CLCircularRegion region;
    /// Crossings, in and out together, after which it is over; 0 or less: any number.
    std::int64_t expireCount = 0;
    /// When it is over, in milliseconds since 1970; 0 or less: never.
    double expireTs = 0.0;
    /// What to say: a text, or a dictionary with texts under "title" and "body".
    Value enterMessage;
    Value exitMessage;
    RegionSide side = RegionSide::Unknown;

    /// Whether such a region can be: an error of `kLocationErrorDomain` says what is wrong.
    [[nodiscard]] Result<void> check() const;

    /// When it is over; none when that is never.
    [[nodiscard]] std::optional<Date> expiry() const;
    [[nodiscard]] bool isExpired(Date now) const;

    /// The device is there now: changes the side, and says when that was a crossing.
    [[nodiscard]] std::optional<RegionCrossing> moveTo(const CLLocation& fix);

    /// How it is stored, and back; none when what was stored is no region.
    [[nodiscard]] Value stored() const;
    [[nodiscard]] static std::optional<MonitoredRegion> fromStored(const Value& stored);

private:
    [[nodiscard]] RegionSide sideOf(const CLLocation& fix) const;
};

}  // namespace xel
