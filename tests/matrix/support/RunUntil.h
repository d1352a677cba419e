#pragma once

#include <chrono>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

namespace xel::matrix {

/// Every attempt of a client ends within this, unless a row says otherwise.
inline constexpr std::chrono::seconds kPatience{60};

inline void runFor(AsioRunLoop& loop, std::chrono::milliseconds time) {
    loop.scheduleTimer(time, [&loop] { loop.stop(); });
    loop.run();
}

/// Runs the loop until the condition holds; false when the patience has ended first.
template <class Condition>
[[nodiscard]] bool runUntil(AsioRunLoop& loop, const Condition& done,
                            std::chrono::milliseconds patience = kPatience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        runFor(loop, std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace xel::matrix
