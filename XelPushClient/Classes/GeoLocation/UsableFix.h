#pragma once

#include "XelPushClient/Platform/CLLocation.h"

namespace xel {

/// A fix further from the machine's date than this, in seconds, back or ahead, is not of this moment.
inline constexpr double kOldestUsableFix = 60.0;

/// Whether a fix tells of a place on the Earth, and of this moment.
[[nodiscard]] bool isUsableFix(const CLLocation& fix, Date now);

/// Whether a fix is known to be that accurate, in metres. An accuracy of 0 is no accuracy: no receiver is
/// exact, and services write 0 where they do not know.
[[nodiscard]] bool isAccurateWithin(const CLLocation& fix, double metres);

}  // namespace xel
