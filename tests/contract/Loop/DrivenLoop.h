#pragma once

#include <chrono>
#include <functional>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

namespace xel::contract {

/// Drives a loop on a real context until something has come to pass; false when the patience is used up
/// first.
inline bool driveUntil(AsioRunLoop& loop, const std::function<bool()>& done,
                       std::chrono::seconds patience = std::chrono::seconds(60)) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        loop.scheduleTimer(std::chrono::milliseconds(5), [&loop] { loop.stop(); });
        loop.run();
    }
    return true;
}

}  // namespace xel::contract
