#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>

#include "XelPushClient/Linux/Stream/LinuxTCPOptions.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Who waits for its turn to open a connection.
class OpeningTurnTaker {
public:
    virtual ~OpeningTurnTaker() = default;
    virtual void takeTurn() = 0;
};

/// Who may open a connection now, and who later, in the order in which they asked. Those that are gone by
/// then are passed over. Thread: the run loop's, which outlives this.
class OpeningTurns : public std::enable_shared_from_this<OpeningTurns> {
public:
    /// From 0 up to 1, anew each time.
    using Random = std::function<double()>;

    OpeningTurns(NSRunLoop& runLoop, std::shared_ptr<const Clock> clock, LinuxConnectionPace pace,
                 Random random);

    /// Whether it is the caller's turn at once, which it has taken then. Otherwise it queues.
    [[nodiscard]] bool takeAtOnce();
    /// Has it take its turn once that has come, never inside this call.
    void queue(std::weak_ptr<OpeningTurnTaker> taker);

private:
    void accrue();
    void planNext();
    void letThrough();

    NSRunLoop& runLoop_;
    const std::shared_ptr<const Clock> clock_;
    const LinuxConnectionPace pace_;
    const Random random_;
    std::deque<std::weak_ptr<OpeningTurnTaker>> waiting_;
    double turns_;  // that may be taken now
    std::chrono::steady_clock::time_point accruedAt_;
    bool isTimerSet_ = false;
};

}  // namespace xel
