#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/GeoLocation/GeoLocation.h"
#include "XelPushClient/Classes/Messaging/Publisher.h"
#include "XelPushClient/Classes/Models/OperationOptions.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

class InstallationRecord;
class LocalNotifications;

/// Reports the device's location as the event "geo": at the application's launch, while it is tracked, and
/// when the host wants it. Shows the message of a region that is crossed.
///
/// Owner: the manager. Thread: the manager's run loop. Keeps nothing but the stored settings.
class LocationReports final : public GeoLocationObserver {
public:
    struct Surroundings {
        ClientSettings& settings;
        const NSUserDefaults& defaults;
        const Clock& clock;
        const LogOutput& log;
        CoreGeoLocation& location;
        Publisher& publisher;
        InstallationRecord& record;
        LocalNotifications& notifications;
    };

    explicit LocationReports(Surroundings surroundings);

    /// The application has been launched: goes on tracking and, unless the system launched it for a location
    /// event, counts the launch and reports the launch location. True when a notification launched it.
    bool applicationDidFinishLaunchingWithOptions(UIApplication& application,
                                                  const Dictionary& launchOptions);
    /// Publishes one location when that is switched on and nothing is tracked, which reports by itself.
    void checkLocationOnLaunch();
    /// Resumes the stored tracking session for the rest of its time, or ends it when that is over.
    void startLocationIfTrackingMe();

    /// Stores the switch; switched on, it reports the location at once.
    void setEnableLocationOnLaunch(bool enable);

    /// Publishes {"lat", "lng", "ts"[, "data"]}: degrees, and the fix's time in milliseconds since 1970. A
    /// missing location is only logged; what is wrong with the event is reported as a failed publication.
    void publishLocation(const std::optional<CLLocation>& location,
                         const PublishLocationOptions& options = {});

    void regionWasCrossed(const CLCircularRegion& region, RegionCrossing crossing,
                          const Value& message) override;
    void positionWasTracked(const CLLocation& location) override;

private:
    Surroundings surroundings_;
};

}  // namespace xel
