#pragma once

#include <optional>

#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/CLLocation.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

/// The tracking session: until when, and how far apart its positions are. Its end and its distance filter are
/// kept across launches, for whoever resumes it.
///
/// Owner: `GeoLocation`. Thread: the manager's run loop.
class TrackingSession {
public:
    /// The longest session: ten years, in seconds.
    static constexpr double kLongest = 10.0 * 366 * 24 * 3600;

    TrackingSession(NSUserDefaults& defaults, const Clock& clock);

    /// Begins a session, in place of the one before. Refused, with an error of `kLocationErrorDomain`, for
    /// seconds that are not above 0 and at most `kLongest`, and metres that are not 0 or more.
    [[nodiscard]] Result<void> begin(double seconds, double byMeter);
    /// Ends it and forgets what is stored.
    void stop();

    [[nodiscard]] TrackingMeState state() const;
    /// When the running session ends; none when none runs.
    [[nodiscard]] std::optional<Date> end() const;
    /// The distance in metres between the fixes that the session wants to see; none when none runs. It is
    /// half of the one between those it reports: a fix that is seen and refused must not hold back the next.
    [[nodiscard]] std::optional<double> distanceFilter() const;

    /// Whether the session reports this fix: it runs, the fix is accurate to 100 m or to the distance filter,
    /// if that is more, and it is the filter's distance away from the one reported before.
    [[nodiscard]] bool accept(const CLLocation& fix);

private:
    [[nodiscard]] double storedEnd() const;

    NSUserDefaults& defaults_;
    const Clock& clock_;
    /// Set while the session runs in this process.
    std::optional<double> byMeter_;
    std::optional<CLLocationCoordinate2D> lastReported_;
};

}  // namespace xel
