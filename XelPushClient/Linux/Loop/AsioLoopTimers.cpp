#include "XelPushClient/Linux/Loop/AsioLoopTimers.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace xel {

class AsioLoopTimers::Timer final : public NSTimer {
public:
    Timer(std::weak_ptr<AsioLoopTimers> timers, SteadyTime deadline, std::uint64_t number,
          std::function<void()> block)
        : deadline_(deadline), number_(number), timers_(std::move(timers)), block_(std::move(block)) {}

    void invalidate() override {
        if (!isValid_.exchange(false)) {
            return;
        }
        block_ = nullptr;
        if (const auto timers = timers_.lock()) {
            timers->timerWasInvalidated();
        }
    }

    [[nodiscard]] bool isValid() const override { return isValid_.load(); }
    [[nodiscard]] SteadyTime deadline() const { return deadline_; }
    [[nodiscard]] std::uint64_t number() const { return number_; }

    [[nodiscard]] std::function<void()> spend() {
        // First: the block may invalidate its own timer, which is then nothing to do.
        isValid_.store(false);
        return std::exchange(block_, nullptr);
    }

private:
    SteadyTime deadline_;
    std::uint64_t number_;
    std::weak_ptr<AsioLoopTimers> timers_;
    std::function<void()> block_;
    std::atomic<bool> isValid_ = true;
};

/// Orders the heap: the earlier deadline in front, and of equal ones the one that was scheduled first.
class AsioLoopTimers::Order {
public:
    bool operator()(const std::shared_ptr<Timer>& left, const std::shared_ptr<Timer>& right) const {
        return std::pair(left->deadline(), left->number()) > std::pair(right->deadline(), right->number());
    }
};

AsioLoopTimers::AsioLoopTimers(boost::asio::io_context& context, std::weak_ptr<AsioLoopTimersOwner> owner)
    : alarm_(context), owner_(std::move(owner)) {}

AsioLoopTimers::~AsioLoopTimers() = default;

std::shared_ptr<NSTimer> AsioLoopTimers::schedule(std::chrono::milliseconds delay,
                                                  std::function<void()> block) {
    // Beyond a century the sum below could leave the range of the clock.
    constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365 * 100);
    const auto wait = std::clamp(delay, std::chrono::milliseconds::zero(), kLongest);
    const auto deadline = std::chrono::steady_clock::now() + wait;
    auto timer = std::make_shared<Timer>(weak_from_this(), deadline, nextNumber_++, std::move(block));
    if (alarm_) {
        timers_.push_back(timer);
        std::push_heap(timers_.begin(), timers_.end(), Order());
        setAlarm();
    }
    return timer;
}

void AsioLoopTimers::setAlarm() {
    if (timers_.empty() || !alarm_) {
        return;
    }
    const auto deadline = timers_.front()->deadline();
    if (alarmTime_ && *alarmTime_ <= deadline) {
        return;
    }
    alarmTime_ = deadline;
    alarm_->expires_at(deadline);
    // An alarm that is moved ends its former wait with an error.
    alarm_->async_wait([weak = owner_](const boost::system::error_code& error) {
        const auto owner = weak.lock();
        if (!error && owner) {
            owner->alarmDidRing();
        }
    });
}

void AsioLoopTimers::fireDue() {
    /// Sets the alarm anew however the walk ends.
    class Rearm {
    public:
        explicit Rearm(AsioLoopTimers& timers) : timers_(timers) {}
        Rearm(const Rearm&) = delete;
        Rearm& operator=(const Rearm&) = delete;
        ~Rearm() { timers_.setAlarm(); }

    private:
        AsioLoopTimers& timers_;
    };

    const auto owner = owner_.lock();
    if (!owner) {
        return;
    }
    alarmTime_.reset();
    const Rearm rearm(*this);
    // Asked once: timers that the blocks set for at once come in a later pass, and do not
    // keep this one going.
    const auto now = std::chrono::steady_clock::now();
    while (!timers_.empty() && owner->mayFireAnother()) {
        if (timers_.front()->isValid() && timers_.front()->deadline() > now) {
            return;
        }
        std::pop_heap(timers_.begin(), timers_.end(), Order());
        const auto timer = std::move(timers_.back());
        timers_.pop_back();
        if (!timer->isValid()) {
            --invalidTimers_;
            continue;
        }
        const auto block = timer->spend();
        block();
        owner->timerDidFire();
    }
}

std::optional<AsioLoopTimers::SteadyTime> AsioLoopTimers::nextDeadline() {
    while (!timers_.empty() && !timers_.front()->isValid()) {
        std::pop_heap(timers_.begin(), timers_.end(), Order());
        timers_.pop_back();
        --invalidTimers_;
    }
    return timers_.empty() ? std::nullopt : std::optional(timers_.front()->deadline());
}

void AsioLoopTimers::timerWasInvalidated() {
    ++invalidTimers_;
    // An invalidated timer leaves the heap when it is in front. A deadline that is moved again and again
    // leaves many far behind, which are swept out before they are most of the heap.
    if (invalidTimers_ > 64 && invalidTimers_ > timers_.size() / 2) {
        std::erase_if(timers_, [](const auto& timer) { return !timer->isValid(); });
        std::make_heap(timers_.begin(), timers_.end(), Order());
        invalidTimers_ = 0;
    }
}

void AsioLoopTimers::stop() {
    alarm_.reset();
}

bool AsioLoopTimers::discard() {
    return !std::exchange(timers_, {}).empty();
}

}  // namespace xel
