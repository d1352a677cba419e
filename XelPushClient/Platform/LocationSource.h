#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/CLLocation.h"

namespace xel {

/// Domain of the errors about locations.
inline constexpr std::string_view kLocationErrorDomain = "LocationErrorDomain";

enum class LocationErrorCode : int {
    NoService = 1,  ///< this machine has no location service, or it has gone
    Denied = 2,     ///< this application may not know
    TimedOut = 3,   ///< no usable position came in time
    NotValid = 4,   ///< an impossible place, radius, identifier or time
};

/// An error of the domain above.
[[nodiscard]] NSError makeLocationError(LocationErrorCode code, std::string_view description);

/// Running updates; dropping it stops them.
class LocationUpdates {
public:
    virtual ~LocationUpdates() = default;
    LocationUpdates(const LocationUpdates&) = delete;
    LocationUpdates& operator=(const LocationUpdates&) = delete;

protected:
    LocationUpdates() = default;
};

/// Where the device is, as the operating system tells it.
///
/// Contract:
/// - The handler is called on the machine's run loop, never inside `startUpdates`, and never after the
///   updates were dropped, not even with a report that was under way. It may drop them itself.
/// - Each start brings a first fix as soon as there is one, even on a device that does not move; then one
///   for each move of at least the distance filter. More may come: the filter is there to save power.
/// - An error ends the updates: nothing follows it. Until there is a fix nothing comes; a time limit is up
///   to the caller.
/// - Several updates may run at once and do not disturb each other.
/// - Fixes are passed on as they come: their age, place and accuracy are the receiver's to check. An
///   accuracy or speed that the service does not know is -1.
///
/// Thread: the machine's run loop.
class LocationSource {
public:
    using Handler = std::function<void(const Result<CLLocation>& location)>;

    virtual ~LocationSource() = default;

    /// Starts updates; `distanceFilter` in metres, 0 for every fix. The result is never null.
    [[nodiscard]] virtual std::unique_ptr<LocationUpdates> startUpdates(double distanceFilter,
                                                                        Handler handler) = 0;
};

}  // namespace xel
