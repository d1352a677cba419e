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
#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "XelPushClient/Classes/GeoLocation/MonitoredRegions.h"
#include "XelPushClient/Classes/GeoLocation/SingleLocationRequests.h"
#include "XelPushClient/Classes/GeoLocation/TrackingSession.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/NSRunLoop.h"

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

/// The client's location service.
///
/// Owner: the manager. Thread: the manager's run loop, as at the manager; completions are called there, never
/// inside the request.
class GeoLocation final : public CoreGeoLocation {
public:
    struct Surroundings {
        const ClientLife& life;
        std::shared_ptr<NSRunLoop> runLoop;
        const Clock& clock;
        LocationSource& locationSource;
        NSUserDefaults& defaults;
        const LogOutput& log;
        GeoLocationObserver& observer;
    };

    explicit GeoLocation(const Surroundings& surroundings);
    ~GeoLocation() override;

    [[nodiscard]] std::optional<CLCircularRegion> getRegionWithIdentifier(
        std::string_view identifier) const override;
    [[nodiscard]] std::vector<CLCircularRegion> monitoredRegions() const override;
    Result<void> startMonitoringRegion(const CLCircularRegion& region, std::int64_t expireCount,
                                       double expireTs, Value enterMessage, Value exitMessage) override;
    void stopMonitoringRegion(const CLCircularRegion& region) override;
    /// Goes on watching the regions of the last launch. Done once, by the manager.
    void resumeMonitoring();
    void requestSingleLocation(SingleLocationCompletion completion) override;
    [[nodiscard]] TrackingMeState trackingMeState() const override;
    Result<void> trackMeUntil(double seconds, double byMeter) override;
    void stopTracking() override;

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
                                                 void (*operation)(GeoLocation& self));

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
    ClientLife::WayInto<GeoLocation> wayIn_;
};

}  // namespace xel
