#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include <sdbus-c++/Types.h>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Platform/CLLocation.h"

namespace xel {

/// What org.freedesktop.GeoClue2.Location says, as it says it.
struct GeoClueFix {
    double latitude = 0.0;
    double longitude = 0.0;
    /// Metres. -1: not known. For a satellite receiver GeoClue makes 0, 1 or 3 of a good dilution of
    /// precision.
    double accuracy = -1.0;
    /// Metres a second; -1: not known.
    double speed = -1.0;
    /// Seconds since 1970, and microseconds beside them.
    std::uint64_t seconds = 0;
    std::uint64_t microseconds = 0;
};

/// The properties of a location object. One that is missing or of another type is not known; without a
/// latitude and a longitude the fix is nowhere (not a number).
[[nodiscard]] GeoClueFix fixOfProperties(const std::map<std::string, sdbus::Variant>& properties);

/// The fix in the client's terms. What is not known, or no number, is -1. An accuracy is 5 m at best: no
/// receiver of a consumer's keeps what GeoClue makes of a good dilution of precision.
[[nodiscard]] CLLocation locationOf(const GeoClueFix& fix);

/// A distance filter as GeoClue takes it: whole metres, cut to what its number holds.
[[nodiscard]] std::uint32_t distanceThresholdOf(double distanceFilter);

/// An error of D-Bus, by its name, as one of `kLocationErrorDomain`: `Denied` for a refusal, `TimedOut` when
/// GeoClue did not answer in so long a time, and otherwise `NoService`.
[[nodiscard]] NSError locationErrorOf(const std::string& name, const std::string& message,
                                      std::chrono::milliseconds patience);

}  // namespace xel
