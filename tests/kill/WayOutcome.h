#pragma once

#include <cstddef>

namespace xel::killtest {

/// What came of one way of the kill test.
struct WayOutcome {
    bool isGood = false;
    std::size_t messagesIn = 0;
    std::size_t eventsOut = 0;
};

}  // namespace xel::killtest
