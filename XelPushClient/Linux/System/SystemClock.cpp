#include "XelPushClient/Linux/System/SystemClock.h"

namespace xel {

Date SystemClock::now() const {
    return Date(std::chrono::system_clock::now());
}

std::chrono::steady_clock::time_point SystemClock::steadyNow() const {
    return std::chrono::steady_clock::now();
}

}  // namespace xel
