#include "XelPushClient/Linux/Loop/AsioLoopCore.h"

#include <new>
#include <stdexcept>

#include <boost/asio/post.hpp>

#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

AsioLoopCore::Pass::Pass(AsioLoopCore& core) : core_(core) {
    core_.isInPass_ = true;
    core_.blocksLeftInPass_ = kMostBlocksInPass;
    core_.becomeOwner();
    // A stop of the run before is over: a host that runs its own context does not take it off.
    (void)core_.clearStop();
    const std::lock_guard lock(core_.mutex_);
    core_.isBusy_ = true;
}

AsioLoopCore::Pass::~Pass() {
    core_.isInPass_ = false;
    const bool isSomethingLeft = core_.nextInBatch_ < core_.batch_.size() || !core_.passEndObservers_.empty();
    const std::lock_guard lock(core_.mutex_);
    core_.isBusy_ = false;
    if (isSomethingLeft || !core_.incoming_.empty()) {
        try {
            core_.postPass();
        } catch (const std::bad_alloc&) {
            return;  // whatever happens next comes to it: a post, a timer, or something received
        }
    }
}

AsioLoopCore::AsioLoopCore(boost::asio::io_context& context)
    : context_(context), owner_(std::this_thread::get_id()) {
    watchForks();
}

std::shared_ptr<AsioLoopCore> AsioLoopCore::make(boost::asio::io_context& context) {
    auto core = std::make_shared<AsioLoopCore>(context);
    // Now, and not with the first timer: this takes descriptors.
    core->timers_ =
        std::make_shared<AsioLoopTimers>(context, std::shared_ptr<AsioLoopTimersOwner>(core, core.get()));
    return core;
}

AsioLoopCore::~AsioLoopCore() = default;

void AsioLoopCore::checkProcess() const {
    if (!isOfThisProcess()) {
        throw std::logic_error(
            "a run loop was used in a child that fork() made; it belongs to the process that made it");
    }
}

void AsioLoopCore::post(std::function<void()> block) {
    checkProcess();
    const std::lock_guard lock(mutex_);
    if (isShutDown_) {
        return;
    }
    incoming_.push_back(std::move(block));
    // A pass under way comes to the block, or has another pass follow.
    if (isBusy_) {
        return;
    }
    try {
        postPass();
    } catch (...) {
        incoming_.pop_back();  // the caller hears that it was not posted
        throw;
    }
}

std::shared_ptr<NSTimer> AsioLoopCore::scheduleTimer(std::chrono::milliseconds delay,
                                                     std::function<void()> block) {
    checkProcess();
    return timers_->schedule(delay, std::move(block));
}

void AsioLoopCore::alarmDidRing() {
    runThenDrain([this] { timers_->fireDue(); });
}

// With the mutex held, so that no thread reaches for the context once `shutDown` has returned.
void AsioLoopCore::postPass() {
    if (isShutDown_ || isPassPosted_) {
        return;
    }
    // Weak: a host's context may outlive the loop.
    boost::asio::post(context_, [weak = weak_from_this()] {
        const auto core = weak.lock();
        if (!core) {
            return;
        }
        {
            const std::lock_guard lock(core->mutex_);
            core->isPassPosted_ = false;
        }
        core->runThenDrain([] {});
    });
    isPassPosted_ = true;
    if (wakeUp_) {
        wakeUp_();
    }
}

void AsioLoopCore::takeOwnership() {
    checkProcess();
    const std::lock_guard lock(mutex_);
    if (isBusy_ && !isCurrent()) {
        throw std::logic_error("a run loop was taken over by a thread while another one runs it");
    }
    becomeOwner();
}

void AsioLoopCore::setWakeUp(std::function<void()> wakeUp) {
    const std::lock_guard lock(mutex_);
    wakeUp_ = std::move(wakeUp);
    // What was posted before has told nobody.
    if (wakeUp_ && isPassPosted_) {
        wakeUp_();
    }
}

void AsioLoopCore::callAtEndOfPass(std::weak_ptr<PassEndObserver> observer) {
    passEndObservers_.push_back(std::move(observer));
    if (!isInPass_) {
        const std::lock_guard lock(mutex_);
        postPass();
    }
}

bool AsioLoopCore::takeIncoming() {
    batch_.clear();
    nextInBatch_ = 0;
    const std::lock_guard lock(mutex_);
    batch_.swap(incoming_);
    return !batch_.empty();
}

void AsioLoopCore::drain() {
    while (blocksLeftInPass_ > 0 && !isStopRequested_.load(std::memory_order_relaxed)) {
        if (nextInBatch_ == batch_.size() && !takeIncoming()) {
            return;
        }
        checkProcess();  // the block before may have come back in a child too
        --blocksLeftInPass_;
        const auto block = std::move(batch_[nextInBatch_++]);
        block();
    }
}

void AsioLoopCore::endPass() {
    // Those who ask while others are told wait for the next pass: the destructor of `Pass` sees to it.
    observersBeingTold_.swap(passEndObservers_);
    for (const auto& weak : observersBeingTold_) {
        if (const auto observer = weak.lock()) {
            observer->passDidEnd();
        }
    }
    observersBeingTold_.clear();
}

void AsioLoopCore::shutDown() {
    {
        const std::lock_guard lock(mutex_);
        isShutDown_ = true;
    }
    timers_->stop();
    // What a block holds may post or schedule while it is destroyed, so this goes on until nothing is left.
    for (;;) {
        const bool hadTimers = timers_->discard();
        const auto batch = std::exchange(batch_, {});
        nextInBatch_ = 0;
        std::vector<std::function<void()>> incoming;
        {
            const std::lock_guard lock(mutex_);
            incoming.swap(incoming_);
        }
        if (!hadTimers && batch.empty() && incoming.empty()) {
            return;
        }
    }
}

}  // namespace xel
