#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/ClientOwner.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/GeoLocation/MonitoredRegions.h"
#include "XelPushClient/Classes/GeoLocation/SingleLocationRequests.h"
#include "XelPushClient/Classes/GeoLocation/TrackingSession.h"
#include "XelPushClient/Platform/Machine.h"

namespace xel {

/// Hears what the positions amount to. On the manager's run loop; calling back in is allowed.
class GeoLocationObserver {
public:
    virtual ~GeoLocationObserver() = default;
    /// `message` is the region's own for that crossing; null when it has none.
    virtual void regionWasCrossed(const CLCircularRegion& region, RegionCrossing crossing,
                                  const Value& message) = 0;
    /// The tracking session has a new position.
    virtual void positionWasTracked(const CLLocation& location) = 0;
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
    using SingleLocationCompletion = SingleLocationRequests::Completion;

    struct Surroundings {
        const ClientLife& life;
        const Machine& machine;
        NSUserDefaults& defaults;
        const LogOutput& log;
        GeoLocationObserver& observer;
    };

    explicit CoreGeoLocation(Surroundings surroundings);
    CoreGeoLocation(const CoreGeoLocation&) = delete;
    CoreGeoLocation& operator=(const CoreGeoLocation&) = delete;
    ~CoreGeoLocation();

    // ---- Regions.

    [[nodiscard]] std::optional<CLCircularRegion> getRegionWithIdentifier(std::string_view identifier) const;
    [[nodiscard]] std::vector<CLCircularRegion> monitoredRegions() const;

    /// Watches a region, in place of the one of the same identifier. How its border is decided is told at
    /// `MonitoredRegion`: the first fix only tells on which side the device is.
    ///
    /// `expireCount`: crossings, entering and leaving together, after which it is over; 0 or less: any
    /// number. `expireTs`: when it is over, in milliseconds since 1970; 0 or less: never. A time in the past
    /// ends it at once, on the run loop's next turn. The messages, each at most 4096 octets as JSON, are
    /// raised as local notifications when they are texts, or dictionaries with texts under "title" and
    /// "body".
    ///
    /// Refused (`NotValid`): a centre that is no place, a radius that is not above 0 and at most 10,000 km,
    /// an identifier that is empty or longer than 255 octets. With 100 regions the oldest is given up.
    Result<void> startMonitoringRegion(const CLCircularRegion& region, std::int64_t expireCount,
                                       double expireTs, Value enterMessage, Value exitMessage);
    /// Goes by the identifier; harmless for a region that is not watched.
    void stopMonitoringRegion(const CLCircularRegion& region);
    /// Goes on watching the regions of the last launch. Done once, by the manager.
    void resumeMonitoring();

    // ---- One fix.

    /// The completion gets a fix accurate to 100 m as soon as there is one, else after 30 s the best up to
    /// 2,000 m, else an error: `TimedOut`, or the source's own.
    void requestSingleLocation(SingleLocationCompletion completion);

    // ---- Tracking.

    [[nodiscard]] TrackingMeState trackingMeState() const;
    /// Tracks for so many seconds, at most ten years, reporting positions at least so many metres apart. The
    /// end and the metres are stored. Refused (`NotValid`): seconds not above 0, metres below 0.
    Result<void> trackMeUntil(double seconds, double byMeter);
    void stopTracking();

private:
    enum class Demand { AsBefore, SomethingNew };

    void updatesReported(const Result<CLLocation>& location);
    void positionArrived(const CLLocation& fix);
    void updatesFailed(const NSError& error);
    void report(const std::vector<MonitoredRegions::Crossed>& crossed,
                const std::optional<CLLocation>& tracked, const SingleLocationRequests::Answers& answers);

    [[nodiscard]] std::optional<double> wantedDistanceFilter() const;
    void adjustUpdates(Demand demand);
    void startUpdates(double distanceFilter);
    void tryAgainLater();
    void scheduleNextLook();
    void endWhatIsOver();
    [[nodiscard]] std::shared_ptr<NSTimer> later(std::chrono::milliseconds delay,
                                                 void (*operation)(CoreGeoLocation& self));

    Surroundings surroundings_;
    /// Hosts call this room themselves.
    const ClientOwner owner_;
    MonitoredRegions regions_;
    TrackingSession tracking_;
    SingleLocationRequests singles_;
    std::unique_ptr<LocationUpdates> updates_;
    double runningFilter_ = 0.0;
    std::shared_ptr<NSTimer> nextTry_;
    std::shared_ptr<NSTimer> nextLook_;
    ClientLife::WayInto<CoreGeoLocation> wayIn_;
};

}  // namespace xel
