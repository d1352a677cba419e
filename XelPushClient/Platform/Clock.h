#pragma once

#include <chrono>

#include "XelPushClient/Foundation/Date.h"

namespace xel {

/// The time. From any thread.
class Clock {
public:
    virtual ~Clock() = default;

    /// The system's clock, which may be set forward or back: for dates only.
    [[nodiscard]] virtual Date now() const = 0;

    /// A clock that only goes forward: for deadlines.
    [[nodiscard]] virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
};

}  // namespace xel
