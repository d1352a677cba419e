#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/CLLocation.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Where a device is from some moment of its track on.
struct TrackPoint {
    std::chrono::milliseconds at{};  ///< since the track began
    CLLocationCoordinate2D coordinate;
    double horizontalAccuracy = 5.0;  ///< metres; negative: unknown
    double speed = -1.0;              ///< metres per second; negative: unknown
};

using RecordedTrack = std::vector<TrackPoint>;

/// Reads a track from text: one line "seconds latitude longitude accuracy" for each point, in the order of
/// time; seconds may have a fraction. Empty lines and lines that begin with "#" are skipped. Throws a
/// `std::invalid_argument` that names the first line it cannot read.
[[nodiscard]] RecordedTrack readTrack(std::string_view text);

/// A location service on a device that the test moves about. At first it does not know where it is.
///
/// The device moves whether anybody watches or not: a track continues while no updates run, and beyond the
/// end of a client. Thread: the run loop.
class FakeLocationSource final : public LocationSource {
public:
    FakeLocationSource(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<const Clock> clock);

    /// The device follows the track from now on, in the loop's time, and stays at its end.
    void play(RecordedTrack track);
    /// Puts the device at a place.
    void standAt(const CLLocationCoordinate2D& coordinate, double horizontalAccuracy = 5.0);
    /// Posts this very fix, old or faulty as it may be, to all running updates, whatever their filter.
    void report(const CLLocation& location);

    /// Ends all running updates with the error, posted, and every later start likewise.
    void fail(const NSError& error);
    /// Ends what `fail` began.
    void work();

    /// How many updates are running: started, not dropped, not ended by an error.
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
