#include "XelPushClient/Classes/Messaging/LocationReports.h"

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Notifications/LocalNotifications.h"
#include "XelPushClient/Classes/Registration/InstallationRecord.h"
#include "XelPushClient/LoopBack/LBPushNotification.h"
#include "XelPushClient/Platform/UIApplicationLaunchOptions.h"

namespace xel {

LocationReports::LocationReports(Surroundings surroundings) : surroundings_(surroundings) {}

bool LocationReports::applicationDidFinishLaunchingWithOptions(UIApplication& application,
                                                               const Dictionary& launchOptions) {
    const auto notification =
        LBPushNotification::applicationDidFinishLaunchingWithOptions(application, launchOptions);
    if (notification) {
        TVRLog(surroundings_.log, "$$$$$$$$$$$$$$$ didFinishLaunchingWithOptions New Notification %@",
               notification->userInfo());
    }
    startLocationIfTrackingMe();
    if (launchOptions.contains(UIApplicationLaunchOptionsLocationKey)) {
        surroundings_.record.setApplicationLaunch(false);
    } else {
        surroundings_.settings.setLaunchStats();
        checkLocationOnLaunch();
    }
    return notification.has_value();
}

void LocationReports::checkLocationOnLaunch() {
    const bool isTracking = surroundings_.location.trackingMeState() == TrackingMeState::kTracking;
    if (isTracking || !surroundings_.settings.enableLocationOnLaunch()) {
        return;
    }
    // The location service drops its requests when the client ends, before this object goes.
    surroundings_.location.requestSingleLocation([this](const Result<CLLocation>& location) {
        if (location) {
            publishLocation(location.value(),
                            {.data = surroundings_.settings.locationOnLaunchWithDictionary()});
        } else {
            TVRLog(surroundings_.log, "## send location by enableLocationOnLanuch errored: %@",
                   location.error());
        }
    });
}

void LocationReports::startLocationIfTrackingMe() {
    const double until = surroundings_.defaults.doubleForKey(kTrackUserUntilKey);
    const bool isSession = until > 0.0;
    if (!isSession) {
        return;
    }
    const double remaining = until - secondsSinceReferenceDate(surroundings_.clock.now());
    if (remaining <= 0.0) {
        surroundings_.location.stopTracking();
        return;
    }
    const double metres = surroundings_.defaults.doubleForKey(kTrackUserMeterKey);
    if (const auto resumed = surroundings_.location.trackMeUntil(remaining, metres); !resumed) {
        TVRLog(surroundings_.log, "tracking is not resumed: %@", resumed.error());
    }
}

void LocationReports::setEnableLocationOnLaunch(bool enable) {
    if (surroundings_.settings.setEnableLocationOnLaunch(enable)) {
        checkLocationOnLaunch();
    }
}

void LocationReports::publishLocation(const std::optional<CLLocation>& location,
                                      const PublishLocationOptions& options) {
    if (!location) {
        TVRLog(surroundings_.log, "## location was nil, Could not send nil location");
        return;
    }
    Dictionary event{{"lat", location->coordinate.latitude},
                     {"lng", location->coordinate.longitude},
                     {"ts", millisecondsSince1970(location->timestamp)}};
    if (options.data) {
        event.set("data", *options.data);
    }
    TVRLog(surroundings_.log, "Publishing location event %@", event);
    (void)surroundings_.publisher.publishEvent("geo", event,
                                               {.live = options.live, .stateful = options.stateful});
}

void LocationReports::regionWasCrossed(const CLCircularRegion& region, RegionCrossing crossing,
                                       const Value& message) {
    surroundings_.notifications.showNotificationOfRegion(
        region.identifier, crossing == RegionCrossing::Entered ? "enter" : "exit", message);
}

void LocationReports::positionWasTracked(const CLLocation& location) {
    publishLocation(location);
}

}  // namespace xel
