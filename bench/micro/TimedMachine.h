#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Platform/Machine.h"
#include "XelPushClient/Testing/FakeMachine.h"

namespace xel::bench {

/// What clients themselves take of a run loop's time: all of it, and the longest stretch.
class LibraryTime {
public:
    using Duration = std::chrono::steady_clock::duration;

    /// Takes the time of the call.
    template <class Work>
    void take(Work&& work) {
        const auto begin = std::chrono::steady_clock::now();
        const OnLeaving taken([&] {
            const Duration stretch = std::chrono::steady_clock::now() - begin;
            all_ += stretch;
            longest_ = std::max(longest_, stretch);
        });
        work();
    }

    void clear() { *this = LibraryTime(); }
    [[nodiscard]] Duration all() const { return all_; }
    [[nodiscard]] Duration longest() const { return longest_; }

private:
    Duration all_{0};
    Duration longest_{0};
};

/// The ports of a fake machine, in which each call of the run loop into a client is timed: its blocks, its
/// timers, what its connections bring and the answers to its requests. What the broker and the backend do,
/// which live on the same loop, is not.
[[nodiscard]] Machine timedMachine(const FakeMachine& fakes, const std::shared_ptr<LibraryTime>& time);

}  // namespace xel::bench
