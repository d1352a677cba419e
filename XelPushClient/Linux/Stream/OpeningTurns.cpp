#include "XelPushClient/Linux/Stream/OpeningTurns.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {

namespace {

/// Between two looks at the queue, on average: many turns a second do not need as many timers.
constexpr double kShortestWaitInSeconds = 0.02;

}  // namespace

OpeningTurns::OpeningTurns(NSRunLoop& runLoop, std::shared_ptr<const Clock> clock, LinuxConnectionPace pace,
                           Random random)
    : runLoop_(runLoop),
      clock_(std::move(clock)),
      pace_{pace.perSecond, std::max(pace.atOnce, 1U)},
      random_(std::move(random)),
      turns_(pace_.atOnce),
      accruedAt_(clock_->steadyNow()) {}

bool OpeningTurns::takeAtOnce() {
    accrue();
    if (!waiting_.empty() || turns_ < 1) {
        return false;
    }
    turns_ -= 1;
    return true;
}

void OpeningTurns::queue(std::weak_ptr<OpeningTurnTaker> taker) {
    waiting_.push_back(std::move(taker));
    planNext();
}

void OpeningTurns::accrue() {
    const auto now = clock_->steadyNow();
    const double seconds = std::chrono::duration<double>(now - std::exchange(accruedAt_, now)).count();
    turns_ = std::min<double>(turns_ + seconds * pace_.perSecond, pace_.atOnce);
}

void OpeningTurns::planNext() {
    if (waiting_.empty() || isTimerSet_) {
        return;
    }
    const double usual = std::max(kShortestWaitInSeconds, 1.0 / pace_.perSecond);
    const double wait = usual * (0.5 + random_());
    runLoop_.scheduleTimer(std::chrono::milliseconds(std::lround(wait * 1000)), [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->isTimerSet_ = false;
            self->letThrough();
        }
    });
    isTimerSet_ = true;
}

void OpeningTurns::letThrough() {
    accrue();
    doThenAlways(
        [this] {
            while (turns_ >= 1 && !waiting_.empty()) {
                const auto taker = waiting_.front().lock();
                waiting_.pop_front();
                if (taker) {
                    turns_ -= 1;
                    taker->takeTurn();
                }
            }
        },
        [this] { planNext(); });
}

}  // namespace xel
