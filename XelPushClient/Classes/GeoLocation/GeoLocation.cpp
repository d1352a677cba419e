#include "XelPushClient/Classes/GeoLocation/GeoLocation.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "XelPushClient/Classes/GeoLocation/UsableFix.h"

namespace xel {
namespace {

constexpr std::chrono::minutes kPauseAfterFailure{5};
/// The machine's date may be set while a timer runs, so that far ends are looked at once a day.
constexpr double kLongestWait = 24.0 * 3600;  // seconds

void cancel(std::shared_ptr<NSTimer>& timer) {
    if (timer) {
        std::exchange(timer, nullptr)->invalidate();
    }
}

}  // namespace

GeoLocation::GeoLocation(const Surroundings& surroundings)
    : surroundings_(surroundings),
      owner_(surroundings.runLoop),
      regions_(surroundings_.defaults),
      tracking_(surroundings_.defaults, surroundings_.clock),
      singles_(*surroundings_.runLoop,
               // A way in of its own, because `wayIn_` is made last.
               [wayIn = surroundings_.life.wayInto(*this)](const SingleLocationRequests::Answers& answers) {
                   if (const auto self = wayIn.hold()) {
                       self->adjustUpdates(Demand::AsBefore);
                       self->report({}, std::nullopt, answers);
                   }
               }),
      wayIn_(surroundings_.life.wayInto(*this)) {}

GeoLocation::~GeoLocation() {
    cancel(nextTry_);
    cancel(nextLook_);
}

// ---- Regions.

std::optional<CLCircularRegion> GeoLocation::getRegionWithIdentifier(std::string_view identifier) const {
    owner_.check();
    const MonitoredRegion* monitored = regions_.find(identifier);
    return monitored != nullptr ? std::optional(monitored->region) : std::nullopt;
}

std::vector<CLCircularRegion> GeoLocation::monitoredRegions() const {
    owner_.check();
    return regions_.all();
}

Result<void> GeoLocation::startMonitoringRegion(const CLCircularRegion& region, std::int64_t expireCount,
                                                double expireTs, Value enterMessage, Value exitMessage) {
    owner_.check();
    MonitoredRegion monitored;
    monitored.region = region;
    monitored.expireCount = expireCount;
    monitored.expireTs = expireTs;
    monitored.enterMessage = std::move(enterMessage);
    monitored.exitMessage = std::move(exitMessage);
    if (auto checked = monitored.check(); !checked) {
        return checked;
    }
    if (const auto givenUp = regions_.add(std::move(monitored))) {
        TVRLog(surroundings_.log, "'%@' region monitoring was given up: there are %d newer ones", *givenUp,
               MonitoredRegions::kMost);
    }
    scheduleNextLook();
    adjustUpdates(Demand::SomethingNew);
    return {};
}

void GeoLocation::stopMonitoringRegion(const CLCircularRegion& region) {
    owner_.check();
    if (regions_.remove(region.identifier)) {
        scheduleNextLook();
        adjustUpdates(Demand::AsBefore);
    }
}

void GeoLocation::resumeMonitoring() {
    scheduleNextLook();
    adjustUpdates(Demand::AsBefore);
}

// ---- One fix.

void GeoLocation::requestSingleLocation(SingleLocationCompletion completion) {
    owner_.check();
    singles_.add(std::move(completion));
    adjustUpdates(Demand::SomethingNew);
}

// ---- Tracking.

TrackingMeState GeoLocation::trackingMeState() const {
    owner_.check();
    return tracking_.state();
}

Result<void> GeoLocation::trackMeUntil(double seconds, double byMeter) {
    owner_.check();
    if (auto begun = tracking_.begin(seconds, byMeter); !begun) {
        return begun;
    }
    scheduleNextLook();
    adjustUpdates(Demand::SomethingNew);
    return {};
}

void GeoLocation::stopTracking() {
    owner_.check();
    tracking_.stop();
    scheduleNextLook();
    adjustUpdates(Demand::AsBefore);
}

// ---- What the source tells.

void GeoLocation::updatesReported(const Result<CLLocation>& location) {
    if (location) {
        positionArrived(location.value());
    } else {
        updatesFailed(location.error());
    }
}

void GeoLocation::positionArrived(const CLLocation& fix) {
    if (!isUsableFix(fix, surroundings_.clock.now())) {
        TVRLog(surroundings_.log, "Ignore location %f, %f of %@", fix.coordinate.latitude,
               fix.coordinate.longitude, fix.timestamp);
        return;
    }
    const auto tracked = tracking_.accept(fix) ? std::optional(fix) : std::nullopt;
    // A timer may come late, and a region whose time is over is not crossed any more.
    endWhatIsOver();
    const auto crossed = regions_.moveTo(fix);
    const auto answers = singles_.offer(fix);
    for (const auto& one : crossed) {
        if (one.isOver) {
            TVRLog(surroundings_.log, "'%@' region monitoring has expired", one.region.identifier);
            scheduleNextLook();
        }
    }
    adjustUpdates(Demand::AsBefore);
    // Last, when this object's own state is in order: whoever hears of it may call back in.
    report(crossed, tracked, answers);
}

void GeoLocation::updatesFailed(const NSError& error) {
    TVRLog(surroundings_.log, "location updates failed: %@", error);
    // The error is theirs, so they live until it has been told.
    const auto ended = std::exchange(updates_, nullptr);
    const auto answers = singles_.failAll(error);
    if (wantedDistanceFilter()) {
        tryAgainLater();
    }
    report({}, std::nullopt, answers);
}

void GeoLocation::report(const std::vector<MonitoredRegions::Crossed>& crossed,
                         const std::optional<CLLocation>& tracked,
                         const SingleLocationRequests::Answers& answers) {
    // Whoever hears of it may end the client.
    for (const auto& one : crossed) {
        if (wayIn_.hasEnded()) {
            return;
        }
        surroundings_.observer.regionWasCrossed(one.region, one.crossing, one.message);
    }
    if (tracked && !wayIn_.hasEnded()) {
        surroundings_.observer.positionWasTracked(*tracked);
    }
    for (const auto& answer : answers) {
        if (wayIn_.hasEnded()) {
            return;
        }
        answer();
    }
}

// ---- When the source runs.

std::optional<double> GeoLocation::wantedDistanceFilter() const {
    if (!singles_.empty()) {
        return 0.0;
    }
    const auto forRegions = regions_.distanceFilter();
    const auto forTracking = tracking_.distanceFilter();
    if (forRegions && forTracking) {
        return std::min(*forRegions, *forTracking);
    }
    return forRegions ? forRegions : forTracking;
}

void GeoLocation::adjustUpdates(Demand demand) {
    const auto wanted = wantedDistanceFilter();
    if (!wanted) {
        updates_.reset();
        cancel(nextTry_);
        return;
    }
    // The pause after a failure counts too, so that only something new cuts it short.
    const bool goesOn = updates_ ? *wanted == runningFilter_ : nextTry_ != nullptr;
    // What is new needs a first fix, also on a device that stands still: only a start brings one.
    if (!goesOn || demand == Demand::SomethingNew) {
        startUpdates(*wanted);
    }
}

void GeoLocation::startUpdates(double distanceFilter) {
    cancel(nextTry_);
    runningFilter_ = distanceFilter;
    updates_ = surroundings_.locationSource.startUpdates(
        distanceFilter, [wayIn = wayIn_](const Result<CLLocation>& location) {
            if (const auto self = wayIn.hold()) {
                self->updatesReported(location);
            }
        });
}

void GeoLocation::tryAgainLater() {
    cancel(nextTry_);
    nextTry_ = later(kPauseAfterFailure, [](GeoLocation& self) {
        cancel(self.nextTry_);
        self.adjustUpdates(Demand::AsBefore);
    });
}

// ---- Ends.

void GeoLocation::scheduleNextLook() {
    cancel(nextLook_);
    auto next = regions_.nextExpiry();
    if (const auto end = tracking_.end()) {
        next = next ? std::min(*next, *end) : *end;
    }
    if (!next) {
        return;
    }
    const double wait = std::clamp((*next - surroundings_.clock.now()).count(), 0.0, kLongestWait);
    // Rounded up, so that what ends then has ended when it is looked at.
    nextLook_ = later(std::chrono::milliseconds(static_cast<std::int64_t>(std::ceil(wait * 1000.0))),
                      [](GeoLocation& self) {
                          cancel(self.nextLook_);
                          self.endWhatIsOver();
                          self.scheduleNextLook();
                          self.adjustUpdates(Demand::AsBefore);
                      });
}

void GeoLocation::endWhatIsOver() {
    for (const auto& identifier : regions_.removeExpired(surroundings_.clock.now())) {
        TVRLog(surroundings_.log, "'%@' region monitoring has expired", identifier);
    }
}

std::shared_ptr<NSTimer> GeoLocation::later(std::chrono::milliseconds delay,
                                            void (*operation)(GeoLocation&)) {
    return surroundings_.runLoop->scheduleTimer(delay, [wayIn = wayIn_, operation] {
        if (const auto self = wayIn.hold()) {
            operation(*self);
        }
    });
}

}  // namespace xel
