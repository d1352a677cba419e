#pragma once

#include <chrono>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/CLLocation.h"

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

}  // namespace xel
