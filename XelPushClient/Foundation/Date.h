#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace xel {

/// An instant on the system clock, in seconds since 1 January 1970 UTC with a fraction.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;

/// The instant so many seconds after 1 January 1970 UTC.
[[nodiscard]] Date dateFromSecondsSince1970(double seconds);

/// The instant so many milliseconds after 1 January 1970 UTC, the unit of every wire format.
[[nodiscard]] Date dateFromMillisecondsSince1970(double milliseconds);

[[nodiscard]] double secondsSince1970(Date date);
[[nodiscard]] double millisecondsSince1970(Date date);

/// The same for a place that takes no fraction, which is cut towards 1970. A date outside the range of the
/// integers is the nearest end of it, one that is no number is 0.
[[nodiscard]] std::int64_t wholeMillisecondsSince1970(Date date);

/// Seconds since 1 January 2001 UTC, the reference date of some stored settings.
[[nodiscard]] Date dateFromSecondsSinceReferenceDate(double seconds);
[[nodiscard]] double secondsSinceReferenceDate(Date date);

/// "2026-03-01 09:30:05 +0000": how a date reads in a log line, always UTC. Seconds outside the years
/// 0 to 9999 are written as a plain number, because a calendar text would mislead.
[[nodiscard]] std::string describeDate(Date date);

}  // namespace xel
