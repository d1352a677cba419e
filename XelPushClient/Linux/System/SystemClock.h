#pragma once

#include "XelPushClient/Platform/Clock.h"

namespace xel {

/// The machine's clocks. From any thread.
class SystemClock final : public Clock {
public:
    [[nodiscard]] Date now() const override;
    [[nodiscard]] std::chrono::steady_clock::time_point steadyNow() const override;
};

}  // namespace xel
