#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Testing/RecordedTrack.h"

namespace xel {

/// A location service on a device that the test carries about. It knows of no place at first.
///
/// The device is somewhere whether anybody asks or not: a track goes on while no updates run and after the
/// end of a client. Thread: the run loop.
class FakeLocationSource final : public LocationSource {
public:
    FakeLocationSource(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<const Clock> clock);

    /// From now on the device goes that way, in the loop's time; at the end it stays.
    void play(RecordedTrack track);
    /// The device is there from now on.
    void standAt(const CLLocationCoordinate2D& coordinate, double horizontalAccuracy = 5.0);
    /// Hands this very fix to all running updates, posted, whatever their filter: an old one, a faulty one.
    void report(const CLLocation& location);

    /// Ends all running updates with the error, posted, and answers every start with it.
    void fail(const NSError& error);
    /// Takes `fail` back.
    void work();

    /// Updates that run: started, not dropped, not ended by an error.
    [[nodiscard]] std::size_t runningCount() const;
    /// The distance filter of each start so far.
    [[nodiscard]] const std::vector<double>& startedFilters() const;

    [[nodiscard]] std::unique_ptr<LocationUpdates> startUpdates(double distanceFilter,
                                                                Handler handler) override;

private:
    struct Device;
    class Running;
    class Handle;

    std::shared_ptr<Device> device_;
};

}  // namespace xel
