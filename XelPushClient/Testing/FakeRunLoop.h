#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// A run loop whose time passes only when the test says so.
///
/// `runUntilIdle` and `advanceBy` drive it from the test; `run` drives it as a host does and lets virtual
/// time jump to the next timer whenever nothing is posted, so that a day takes no time. Thread: `post` and
/// `stop` from any thread; everything else on the thread that drives the loop. `isCurrent` is true on the
/// thread that drove it last, at first the one that made it: a test may call the client between two drives.
class FakeRunLoop final : public NSRunLoop {
public:
    using Duration = std::chrono::nanoseconds;

    /// A drive that runs more blocks and timers than this is taken for endless and throws
    /// `std::runtime_error`.
    static constexpr std::size_t kMostSteps = 1'000'000;

    FakeRunLoop();
    ~FakeRunLoop() override;
    FakeRunLoop(const FakeRunLoop&) = delete;
    FakeRunLoop& operator=(const FakeRunLoop&) = delete;

    void post(std::function<void()> block) override;
    std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                           std::function<void()> block) override;
    [[nodiscard]] bool isCurrent() const override;

    /// Like `scheduleTimer`, for what goes on when the process ends, such as a service that a test simulates:
    /// `discardEverything` leaves it, and it is not counted.
    std::shared_ptr<NSTimer> scheduleOutside(std::chrono::milliseconds delay, std::function<void()> block);

    /// As the port says. With nothing posted and no timer left it waits for another thread to post or stop;
    /// to keep a test from hanging it throws `std::runtime_error` after ten seconds of real time.
    void run() override;
    void stop() override;

    /// Runs what is posted, what that posts in turn, and the timers that are due, without letting time pass.
    /// Ignores `stop`. What a block throws comes out; the rest stays for the next drive.
    void runUntilIdle();

    /// Lets that much time pass: each timer on the way runs at its time, after everything that was posted
    /// before it. When a block throws, time stops there.
    void advanceBy(Duration duration);

    /// Like `advanceBy`, up to a reading of `elapsed`; one in the past means now.
    void advanceTo(Duration moment);

    /// Virtual time since the loop was made. From any thread.
    [[nodiscard]] Duration elapsed() const;

    /// When the next valid timer is due, as a reading of `elapsed`.
    [[nodiscard]] std::optional<Duration> nextTimerDeadline() const;

    /// Whether there is something to run without letting time pass.
    [[nodiscard]] bool hasWorkDue() const;

    /// How many timers of the process are scheduled and neither spent nor invalidated.
    [[nodiscard]] std::size_t scheduledTimerCount() const;

    /// Throws away everything posted and scheduled, as the end of a process does.
    void discardEverything();

private:
    class Timer;
    enum class Owner { Process, Outside };
    using TimerKey = std::pair<Duration, std::uint64_t>;

    [[nodiscard]] std::function<void()> takeNextBlock();
    [[nodiscard]] std::function<void()> takeNextDueTimer();
    [[nodiscard]] bool runNextStep();
    std::shared_ptr<NSTimer> schedule(std::chrono::milliseconds delay, std::function<void()> block,
                                      Owner owner);
    [[nodiscard]] std::optional<Duration> firstDeadline() const;
    void discard(const std::function<bool(const Timer&)>& isMeant);
    void becomeDriver();

    mutable std::mutex mutex_;
    std::condition_variable somethingHappened_;
    std::deque<std::function<void()>> posted_;
    std::map<TimerKey, std::shared_ptr<Timer>> timers_;
    std::uint64_t nextTimerNumber_ = 0;
    Duration elapsed_{0};
    bool stopWanted_ = false;
    bool isInStep_ = false;
    std::thread::id driver_;
};

}  // namespace xel
