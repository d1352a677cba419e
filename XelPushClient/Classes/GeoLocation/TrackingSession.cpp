#include "XelPushClient/Classes/GeoLocation/TrackingSession.h"

#include <algorithm>
#include <cmath>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/GeoLocation/UsableFix.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Platform/LocationSource.h"

namespace xel {
namespace {

constexpr double kUsualAccuracy = 100.0;  // metres

}  // namespace

TrackingSession::TrackingSession(NSUserDefaults& defaults, const Clock& clock)
    : defaults_(defaults), clock_(clock) {}

Result<void> TrackingSession::begin(double seconds, double byMeter) {
    // Asked this way round, so that not-a-number is refused too.
    const bool isTime = seconds > 0.0 && seconds <= kLongest;
    const bool isDistance = byMeter >= 0.0 && std::isfinite(byMeter);
    if (!isTime || !isDistance) {
        return makeLocationError(LocationErrorCode::NotValid,
                                 formatted("no tracking for %f s by %f m", seconds, byMeter));
    }
    const Date end = clock_.now() + std::chrono::duration<double>(seconds);
    defaults_.setObject(kTrackUserUntilKey, secondsSinceReferenceDate(end));
    defaults_.setObject(kTrackUserMeterKey, byMeter);
    (void)defaults_.synchronize();
    byMeter_ = byMeter;
    // The first position of a session is reported wherever the one before has ended.
    lastReported_.reset();
    return {};
}

void TrackingSession::stop() {
    byMeter_.reset();
    if (defaults_.objectForKey(kTrackUserUntilKey) || defaults_.objectForKey(kTrackUserMeterKey)) {
        defaults_.removeObject(kTrackUserUntilKey);
        defaults_.removeObject(kTrackUserMeterKey);
        (void)defaults_.synchronize();
    }
}

double TrackingSession::storedEnd() const {
    return defaults_.doubleForKey(kTrackUserUntilKey);
}

TrackingMeState TrackingSession::state() const {
    const bool isStored = storedEnd() > 0.0;
    if (!isStored) {
        return TrackingMeState::kStopped;
    }
    if (secondsSinceReferenceDate(clock_.now()) >= storedEnd()) {
        return TrackingMeState::kExpired;
    }
    return byMeter_ ? TrackingMeState::kTracking : TrackingMeState::kStopped;
}

std::optional<Date> TrackingSession::end() const {
    const bool isRunning = state() == TrackingMeState::kTracking;
    return isRunning ? std::optional(dateFromSecondsSinceReferenceDate(storedEnd())) : std::nullopt;
}

std::optional<double> TrackingSession::distanceFilter() const {
    return state() == TrackingMeState::kTracking ? std::optional(*byMeter_ / 2.0) : std::nullopt;
}

bool TrackingSession::accept(const CLLocation& fix) {
    const bool isRunning = state() == TrackingMeState::kTracking;
    if (!isRunning || !isAccurateWithin(fix, std::max(*byMeter_, kUsualAccuracy))) {
        return false;
    }
    if (lastReported_ && greatCircleDistance(*lastReported_, fix.coordinate) < *byMeter_) {
        return false;
    }
    lastReported_ = fix.coordinate;
    return true;
}

}  // namespace xel
