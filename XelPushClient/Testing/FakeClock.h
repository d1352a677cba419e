#pragma once

#include <atomic>
#include <memory>

#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {

/// A clock that follows the time of a fake run loop. From any thread.
class FakeClock final : public Clock {
public:
    /// 1 March 2026, 09:30 UTC: the date at the loop's beginning unless another one is set.
    static constexpr double kFirstSecondsSince1970 = 1772357400.0;

    explicit FakeClock(std::shared_ptr<FakeRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    [[nodiscard]] Date now() const override {
        return dateFromSecondsSince1970(secondsAtBeginning_ + elapsedSeconds());
    }

    [[nodiscard]] std::chrono::steady_clock::time_point steadyNow() const override {
        return std::chrono::steady_clock::time_point(
            std::chrono::duration_cast<std::chrono::steady_clock::duration>(runLoop_->elapsed()));
    }

    /// Sets the system's clock, forward or back. Timers and `steadyNow` are not affected.
    void setDate(Date date) { secondsAtBeginning_ = secondsSince1970(date) - elapsedSeconds(); }

private:
    [[nodiscard]] double elapsedSeconds() const {
        return std::chrono::duration<double>(runLoop_->elapsed()).count();
    }

    std::shared_ptr<FakeRunLoop> runLoop_;
    std::atomic<double> secondsAtBeginning_ = kFirstSecondsSince1970;
};

}  // namespace xel
