#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// In whose passes timers run.
class AsioLoopTimersOwner {
public:
    virtual ~AsioLoopTimersOwner() = default;
    /// A timer may be due: calls `fireDue` in a pass.
    virtual void alarmDidRing() = 0;
    /// A timer's block has run.
    virtual void timerDidFire() = 0;
    [[nodiscard]] virtual bool mayFireAnother() const = 0;
};

/// The timers of one loop. They share one alarm, which is set only when a deadline comes that is nearer than
/// the one it is set to: a deadline that is moved again and again, as those of a session are, costs no
/// system call.
///
/// Thread: the loop's.
class AsioLoopTimers final : public std::enable_shared_from_this<AsioLoopTimers> {
public:
    using SteadyTime = std::chrono::steady_clock::time_point;

    AsioLoopTimers(boost::asio::io_context& context, std::weak_ptr<AsioLoopTimersOwner> owner);
    ~AsioLoopTimers();
    AsioLoopTimers(const AsioLoopTimers&) = delete;
    AsioLoopTimers& operator=(const AsioLoopTimers&) = delete;

    std::shared_ptr<NSTimer> schedule(std::chrono::milliseconds delay, std::function<void()> block);

    /// Runs the blocks of the timers that are due, the earliest first, as long as the owner lets another one
    /// fire. What is left, also by an exception, has the alarm set again.
    void fireDue();

    /// When the next timer is due; none when none is scheduled.
    [[nodiscard]] std::optional<SteadyTime> nextDeadline();

    /// The alarm does not ring any more, and nothing new is kept.
    void stop();
    /// Throws away what is scheduled; false when there was nothing. What a block holds may schedule
    /// meanwhile.
    bool discard();

private:
    class Timer;
    class Order;

    void setAlarm();
    void timerWasInvalidated();

    std::optional<boost::asio::steady_timer> alarm_;
    std::weak_ptr<AsioLoopTimersOwner> owner_;
    std::vector<std::shared_ptr<Timer>> timers_;  // a heap, the next one in front
    std::uint64_t nextNumber_ = 0;
    std::size_t invalidTimers_ = 0;
    std::optional<SteadyTime> alarmTime_;
};

}  // namespace xel
