#include <algorithm>

#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

using SteadyTime = std::chrono::steady_clock::time_point;

// The timers of a loop share one alarm, which is set only when a deadline comes that is nearer than the one
// it is set to: a deadline that is moved again and again, as those of a session are, costs no system call.
class AsioLoopCore::Timer final : public NSTimer {
public:
    Timer(std::weak_ptr<AsioLoopCore> core, SteadyTime deadline, std::uint64_t number,
          std::function<void()> block)
        : deadline_(deadline), number_(number), core_(std::move(core)), block_(std::move(block)) {}

    void invalidate() override {
        if (!isValid_.exchange(false)) {
            return;
        }
        block_ = nullptr;
        if (const auto core = core_.lock()) {
            core->timerWasInvalidated();
        }
    }

    [[nodiscard]] bool isValid() const override { return isValid_.load(); }
    [[nodiscard]] SteadyTime deadline() const { return deadline_; }
    [[nodiscard]] std::uint64_t number() const { return number_; }

    [[nodiscard]] std::function<void()> spend() {
        isValid_.store(false);
        return std::exchange(block_, nullptr);
    }

private:
    SteadyTime deadline_;
    std::uint64_t number_;
    std::weak_ptr<AsioLoopCore> core_;
    std::function<void()> block_;
    std::atomic<bool> isValid_ = true;
};

/// Orders the heap: the earlier deadline in front, and of equal ones the one that was scheduled first.
class AsioLoopCore::TimerOrder {
public:
    bool operator()(const std::shared_ptr<Timer>& left, const std::shared_ptr<Timer>& right) const {
        return std::pair(left->deadline(), left->number()) > std::pair(right->deadline(), right->number());
    }
};

AsioLoopCore::AsioLoopCore(boost::asio::io_context& context)
    : context_(context), alarm_(context), owner_(std::this_thread::get_id()) {
    watchForks();
}

AsioLoopCore::~AsioLoopCore() = default;

std::shared_ptr<NSTimer> AsioLoopCore::scheduleTimer(std::chrono::milliseconds delay,
                                                     std::function<void()> block) {
    checkProcess();
    // Beyond a century the sum below could leave the range of the clock.
    constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365 * 100);
    const auto wait = std::clamp(delay, std::chrono::milliseconds::zero(), kLongest);
    const auto deadline = std::chrono::steady_clock::now() + wait;
    auto timer = std::make_shared<Timer>(weak_from_this(), deadline, nextTimerNumber_++, std::move(block));
    if (alarm_) {
        timers_.push_back(timer);
        std::push_heap(timers_.begin(), timers_.end(), TimerOrder());
        armTimer();
    }
    return timer;
}

void AsioLoopCore::armTimer() {
    if (timers_.empty() || !alarm_) {
        return;
    }
    const auto deadline = timers_.front()->deadline();
    if (alarmTime_ && *alarmTime_ <= deadline) {
        return;
    }
    alarmTime_ = deadline;
    alarm_->expires_at(deadline);
    alarm_->async_wait([weak = weak_from_this()](const boost::system::error_code& error) {
        const auto core = weak.lock();
        if (!error && core) {
            core->runThenDrain([&core] { core->fireDueTimers(); });
        }
    });
}

void AsioLoopCore::fireDueTimers() {
    /// Sets the alarm anew however the walk ends.
    class Rearm {
    public:
        explicit Rearm(AsioLoopCore& core) : core_(core) {}
        Rearm(const Rearm&) = delete;
        Rearm& operator=(const Rearm&) = delete;
        ~Rearm() { core_.armTimer(); }

    private:
        AsioLoopCore& core_;
    };

    alarmTime_.reset();
    const Rearm rearm(*this);
    const auto now = std::chrono::steady_clock::now();
    while (!timers_.empty() && !isStopRequested_.load(std::memory_order_relaxed)) {
        if (timers_.front()->isValid() && timers_.front()->deadline() > now) {
            return;
        }
        std::pop_heap(timers_.begin(), timers_.end(), TimerOrder());
        const auto timer = std::move(timers_.back());
        timers_.pop_back();
        if (!timer->isValid()) {
            --invalidTimers_;
            continue;
        }
        const auto block = timer->spend();
        block();
        drain();
    }
}

std::optional<SteadyTime> AsioLoopCore::nextDeadline() {
    while (!timers_.empty() && !timers_.front()->isValid()) {
        std::pop_heap(timers_.begin(), timers_.end(), TimerOrder());
        timers_.pop_back();
        --invalidTimers_;
    }
    return timers_.empty() ? std::nullopt : std::optional(timers_.front()->deadline());
}

void AsioLoopCore::timerWasInvalidated() {
    ++invalidTimers_;
    if (invalidTimers_ > 64 && invalidTimers_ > timers_.size() / 2) {
        dropInvalidTimers();
    }
}

void AsioLoopCore::dropInvalidTimers() {
    std::erase_if(timers_, [](const auto& timer) { return !timer->isValid(); });
    std::make_heap(timers_.begin(), timers_.end(), TimerOrder());
    invalidTimers_ = 0;
}

}  // namespace xel
