#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Platform/CLLocation.h"

namespace xel {

enum class TrackingMeState {
    kStopped = 0,   ///< there is no session, or it was not resumed since the launch
    kExpired = 1,   ///< the session's time is over and it was not stopped yet
    kTracking = 2,  ///< the session runs
};

/// Where the device is: one fix, a tracking session with an end, and circular regions that are entered and
/// left.
///
/// The machine's location source runs only while one of the three wants it. Fixes that are older than a
/// minute, or no place on the Earth, are not used. When the source fails, requests for one fix fail with it,
/// and sessions and regions try again after five minutes. Regions and the session's end survive a restart:
/// a crossing that happened meanwhile is told at the first fix. Errors are of `kLocationErrorDomain`.
/// Owner: the manager. Thread: the manager's run loop, as at the manager; completions are called there, never
/// inside the request.
class CoreGeoLocation {
public:
    using SingleLocationCompletion = std::function<void(const Result<CLLocation>& location)>;

    virtual ~CoreGeoLocation() = default;
    CoreGeoLocation(const CoreGeoLocation&) = delete;
    CoreGeoLocation& operator=(const CoreGeoLocation&) = delete;

    // ---- Regions.

    [[nodiscard]] virtual std::optional<CLCircularRegion> getRegionWithIdentifier(
        std::string_view identifier) const = 0;
    [[nodiscard]] virtual std::vector<CLCircularRegion> monitoredRegions() const = 0;

    /// Watches a region, in place of the one of the same identifier. A device is in when it comes as near
    /// as the radius, and out when it is further away than the radius and a margin: the fix's accuracy, a
    /// tenth of the radius or 20 m, whichever is the most. The first fix only tells on which side the device
    /// is.
    ///
    /// `expireCount`: crossings, entering and leaving together, after which it is over; 0 or less: any
    /// number. `expireTs`: when it is over, in milliseconds since 1970; 0 or less: never. A time in the past
    /// ends it at once, on the run loop's next turn. The messages, each at most 4096 octets as JSON, are
    /// raised as local notifications when they are texts, or dictionaries with texts under "title" and
    /// "body".
    ///
    /// Refused (`NotValid`): a centre that is no place, a radius that is not above 0 and at most 10,000 km,
    /// an identifier that is empty or longer than 255 octets. With 100 regions the oldest is given up.
    virtual Result<void> startMonitoringRegion(const CLCircularRegion& region, std::int64_t expireCount,
                                               double expireTs, Value enterMessage, Value exitMessage) = 0;
    /// Goes by the identifier; harmless for a region that is not watched.
    virtual void stopMonitoringRegion(const CLCircularRegion& region) = 0;

    // ---- One fix.

    /// The completion gets a fix accurate to 100 m as soon as there is one, else after 30 s the best up to
    /// 2,000 m, else an error: `TimedOut`, or the source's own.
    virtual void requestSingleLocation(SingleLocationCompletion completion) = 0;

    // ---- Tracking.

    [[nodiscard]] virtual TrackingMeState trackingMeState() const = 0;
    /// Tracks for so many seconds, at most ten years, reporting positions at least so many metres apart. The
    /// end and the metres are stored. Refused (`NotValid`): seconds not above 0, metres below 0.
    virtual Result<void> trackMeUntil(double seconds, double byMeter) = 0;
    virtual void stopTracking() = 0;

protected:
    CoreGeoLocation() = default;
};

}  // namespace xel
