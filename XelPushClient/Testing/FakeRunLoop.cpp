#include "XelPushClient/Testing/FakeRunLoop.h"

#include <atomic>
#include <stdexcept>
#include <vector>

#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {

class FakeRunLoop::Timer final : public NSTimer {
public:
    Timer(std::function<void()> block, Owner owner) : owner_(owner), block_(std::move(block)) {}

    void invalidate() override {
        isValid_ = false;
        block_ = nullptr;
    }

    [[nodiscard]] bool isValid() const override { return isValid_; }

    [[nodiscard]] bool isOutside() const { return owner_ == Owner::Outside; }

    [[nodiscard]] std::function<void()> spend() {
        isValid_ = false;
        return std::exchange(block_, nullptr);
    }

private:
    const Owner owner_;
    std::atomic<bool> isValid_ = true;
    std::function<void()> block_;
};

FakeRunLoop::FakeRunLoop() : driver_(std::this_thread::get_id()) {}

FakeRunLoop::~FakeRunLoop() {
    if (isInStep_) {
        abortAsDestroyedWhileRunning();
    }
    discard([](const Timer&) { return true; });
}

void FakeRunLoop::post(std::function<void()> block) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(block));
    somethingHappened_.notify_all();
}

std::shared_ptr<NSTimer> FakeRunLoop::scheduleTimer(std::chrono::milliseconds delay,
                                                    std::function<void()> block) {
    return schedule(delay, std::move(block), Owner::Process);
}

std::shared_ptr<NSTimer> FakeRunLoop::scheduleOutside(std::chrono::milliseconds delay,
                                                      std::function<void()> block) {
    return schedule(delay, std::move(block), Owner::Outside);
}

std::shared_ptr<NSTimer> FakeRunLoop::schedule(std::chrono::milliseconds delay, std::function<void()> block,
                                               Owner owner) {
    auto timer = std::make_shared<Timer>(std::move(block), owner);
    const std::lock_guard lock(mutex_);
    const Duration wait = delay.count() > 0 ? Duration(delay) : Duration::zero();
    timers_.emplace(TimerKey(elapsed_ + wait, nextTimerNumber_++), timer);
    return timer;
}

bool FakeRunLoop::isCurrent() const {
    const std::lock_guard lock(mutex_);
    return driver_ == std::this_thread::get_id();
}

void FakeRunLoop::becomeDriver() {
    const std::lock_guard lock(mutex_);
    driver_ = std::this_thread::get_id();
}

std::function<void()> FakeRunLoop::takeNextBlock() {
    const std::lock_guard lock(mutex_);
    if (posted_.empty()) {
        return nullptr;
    }
    auto block = std::move(posted_.front());
    posted_.pop_front();
    return block;
}

std::function<void()> FakeRunLoop::takeNextDueTimer() {
    const std::lock_guard lock(mutex_);
    while (!timers_.empty()) {
        const auto first = timers_.begin();
        if (!first->second->isValid()) {
            timers_.erase(first);
            continue;
        }
        if (first->first.first > elapsed_) {
            return nullptr;
        }
        const auto timer = first->second;
        timers_.erase(first);
        return timer->spend();
    }
    return nullptr;
}

bool FakeRunLoop::runNextStep() {
    auto step = takeNextBlock();
    if (!step) {
        step = takeNextDueTimer();
    }
    if (!step) {
        return false;
    }
    const auto inStep = flagWhile(isInStep_);
    step();
    return true;
}

void FakeRunLoop::run() {
    becomeDriver();
    for (;;) {
        {
            const std::lock_guard lock(mutex_);
            if (stopWanted_) {
                stopWanted_ = false;
                return;
            }
        }
        if (runNextStep()) {
            continue;
        }
        const auto isAwake = [this] { return stopWanted_ || !posted_.empty(); };
        std::unique_lock lock(mutex_);
        // Looked at and changed under one lock: what another thread has posted runs before time goes on.
        if (isAwake()) {
            continue;
        }
        if (const auto deadline = firstDeadline()) {
            elapsed_ = *deadline;
            continue;
        }
        // Real time, for what other threads post; only a test that hangs waits it out.
        if (!somethingHappened_.wait_for(lock, std::chrono::seconds(10), isAwake)) {
            throw std::runtime_error(
                "a fake run loop was run with nothing left to do, and nobody stopped it");
        }
    }
}

void FakeRunLoop::stop() {
    const std::lock_guard lock(mutex_);
    stopWanted_ = true;
    somethingHappened_.notify_all();
}

void FakeRunLoop::runUntilIdle() {
    becomeDriver();
    for (std::size_t steps = 0; runNextStep(); ++steps) {
        if (steps == kMostSteps) {
            throw std::runtime_error("a fake run loop does not come to rest");
        }
    }
}

void FakeRunLoop::advanceBy(Duration duration) {
    advanceTo(elapsed() + duration);
}

void FakeRunLoop::advanceTo(Duration moment) {
    for (std::size_t stops = 0;; ++stops) {
        runUntilIdle();
        const std::lock_guard lock(mutex_);
        if (!posted_.empty()) {
            continue;  // another thread was quicker
        }
        const auto deadline = firstDeadline();
        if (!deadline || *deadline > moment) {
            elapsed_ = std::max(elapsed_, moment);
            return;
        }
        if (stops == kMostSteps) {
            throw std::runtime_error("a fake run loop meets too many timers on its way");
        }
        elapsed_ = *deadline;
    }
}

FakeRunLoop::Duration FakeRunLoop::elapsed() const {
    const std::lock_guard lock(mutex_);
    return elapsed_;
}

std::optional<FakeRunLoop::Duration> FakeRunLoop::nextTimerDeadline() const {
    const std::lock_guard lock(mutex_);
    return firstDeadline();
}

std::optional<FakeRunLoop::Duration> FakeRunLoop::firstDeadline() const {
    for (const auto& [key, timer] : timers_) {
        if (timer->isValid()) {
            return key.first;
        }
    }
    return std::nullopt;
}

bool FakeRunLoop::hasWorkDue() const {
    const auto deadline = nextTimerDeadline();
    const std::lock_guard lock(mutex_);
    return !posted_.empty() || (deadline && *deadline <= elapsed_);
}

std::size_t FakeRunLoop::scheduledTimerCount() const {
    const std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto& [key, timer] : timers_) {
        count += timer->isValid() && !timer->isOutside() ? 1U : 0U;
    }
    return count;
}

void FakeRunLoop::discardEverything() {
    discard([](const Timer& timer) { return !timer.isOutside(); });
}

void FakeRunLoop::discard(const std::function<bool(const Timer&)>& isMeant) {
    // What a block holds may post while it is destroyed, so it is destroyed without the lock, until nothing
    // is left.
    for (;;) {
        std::deque<std::function<void()>> posted;
        std::vector<std::shared_ptr<Timer>> timers;
        {
            const std::lock_guard lock(mutex_);
            posted.swap(posted_);
            std::erase_if(timers_, [&](const auto& scheduled) {
                if (!isMeant(*scheduled.second)) {
                    return false;
                }
                timers.push_back(scheduled.second);
                return true;
            });
        }
        if (posted.empty() && timers.empty()) {
            return;
        }
        for (const auto& timer : timers) {
            timer->invalidate();
        }
    }
}

}  // namespace xel
