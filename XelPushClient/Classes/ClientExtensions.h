#pragma once

#include <memory>

#include "XelPushClient/Classes/Messaging/InboundPipeline.h"

namespace xel {

/// Reports the device's location once, when the application was told to do so at its launch.
class LocationOnLaunchReporter {
public:
    virtual ~LocationOnLaunchReporter() = default;
    virtual void checkLocationOnLaunch() = 0;
};

/// Parts of the client that a host may leave out; a null one is not there.
struct ClientExtensions {
    std::shared_ptr<RemoteConfigurationHandler> remoteConfiguration;
    std::shared_ptr<LocationOnLaunchReporter> locationOnLaunch;
};

}  // namespace xel
