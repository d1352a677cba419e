#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <memory>

namespace xel {

/// A scheduled call on a run loop. The timer belongs to its loop: dropping the handle does not cancel it.
class NSTimer {
public:
    virtual ~NSTimer() = default;

    /// Cancels the call. After it returns the block is not called any more; harmless on a spent timer.
    /// Thread: the loop's own.
    virtual void invalidate() = 0;

    /// False once the timer has fired or was invalidated.
    [[nodiscard]] virtual bool isValid() const = 0;
};

/// One thread's queue of work and timers: everything of a manager happens on its loop.
///
/// Contract:
/// - `post` may be called from any thread. Blocks run one at a time, first in, first out, on the loop's
///   thread, and never inside `post`, not even when it is called on that thread.
/// - A block that throws ends `run` with that exception; what was posted behind it stays for the next `run`.
/// - Timers run on the loop's thread, at their time or later: earlier deadlines first, equal ones in the
///   order in which they were scheduled. `scheduleTimer` is called on the loop's thread, or before the loop
///   runs.
/// - A loop that is destroyed inside one of its own blocks or timers ends the process, with a line on
///   standard error that says so. Whatever else a block destroys is destroyed.
class NSRunLoop {
public:
    virtual ~NSRunLoop() = default;

    virtual void post(std::function<void()> block) = 0;

    /// Calls the block once, after the delay. The returned handle is never null.
    virtual std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                                   std::function<void()> block) = 0;

    /// Whether the caller is on the loop's thread: inside `run`, or, before `run` was ever entered, on the
    /// thread that made the loop.
    [[nodiscard]] virtual bool isCurrent() const = 0;

    /// Runs blocks and timers until `stop`. Throws what a block throws.
    virtual void run() = 0;

    /// Lets `run` return after the block it is in. From any thread; before `run`, the next `run` returns at
    /// once.
    virtual void stop() = 0;

    /// The process's main loop. Defined by the platform's target, made by its first user, on that user's
    /// thread.
    static NSRunLoop& mainRunLoop();

protected:
    /// For the destructor of a loop that finds itself inside one of its blocks.
    [[noreturn]] static void abortAsDestroyedWhileRunning();
};

/// Has the loop's `run` throw what must not leave a destructor. Without memory for that it is lost.
void throwInTheLoop(NSRunLoop& runLoop, std::exception_ptr error) noexcept;

}  // namespace xel
