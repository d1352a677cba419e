#include "XelPushClient/Linux/Loop/AsioRunLoop.h"

#include <chrono>
#include <stdexcept>

#include <boost/asio/error.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/system/system_error.hpp>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Loop/LoopDescriptor.h"

namespace xel {

namespace {

/// Handlers of one step at most: a host's own work gets its turn.
constexpr int kMostHandlersInStep = 256;

/// A timer that is due takes microseconds, and this long when it never comes.
constexpr std::chrono::seconds kLongestProbe{1};

/// Asio does not look whether the descriptor of its timers could be watched, which takes memory and counts
/// against the user's limit. A loop without timers would stand still, and nobody would hear why.
void requireTimers(boost::asio::io_context& freshContext) {
    bool hasFired = false;
    boost::asio::steady_timer probe(freshContext, std::chrono::seconds(0));
    probe.async_wait([&hasFired](const boost::system::error_code&) { hasFired = true; });
    (void)freshContext.run_one_for(kLongestProbe);
    freshContext.restart();
    if (!hasFired) {
        throw boost::system::system_error(boost::asio::error::no_memory,
                                          "the timers of the run loop cannot be watched (epoll_ctl)");
    }
}

}  // namespace

// One thread runs the context, which spares it waking others up.
AsioRunLoop::AsioRunLoop()
    : ownContext_(std::make_unique<boost::asio::io_context>(1)), context_(*ownContext_) {
    requireTimers(context_);
    core_ = AsioLoopCore::make(context_);
}

AsioRunLoop::AsioRunLoop(boost::asio::io_context& hostContext)
    : core_(AsioLoopCore::make(hostContext)), context_(hostContext) {}

AsioRunLoop::~AsioRunLoop() {
    if (!core_->isOfThisProcess()) {
        leaveInherited(std::move(core_));
        leaveInherited(std::move(ownContext_));
        leaveInherited(std::move(descriptor_));
        return;
    }
    if (core_->isCurrent() && (isRunning_ || core_->isInPass())) {
        abortAsDestroyedWhileRunning();
    }
    core_->setWakeUp(nullptr);
    core_->shutDown();
}

void AsioRunLoop::post(std::function<void()> block) {
    core_->post(std::move(block));
}

std::shared_ptr<NSTimer> AsioRunLoop::scheduleTimer(std::chrono::milliseconds delay,
                                                    std::function<void()> block) {
    return core_->scheduleTimer(delay, std::move(block));
}

bool AsioRunLoop::isCurrent() const {
    return core_->isCurrent();
}

void AsioRunLoop::takeOwnership() {
    core_->takeOwnership();
}

void AsioRunLoop::run() {
    core_->checkProcess();
    if (core_->isCurrent() && core_->isInPass()) {
        throw std::logic_error("a run loop was run inside one of its own blocks");
    }
    core_->becomeOwner();
    const auto running = flagWhile(isRunning_);
    const auto guard = boost::asio::make_work_guard(context_);
    // First restart, then look: a stop that comes in between is either seen here or stops the context.
    context_.restart();
    if (core_->clearStop()) {
        return;
    }
    const OnLeaving stopped([this] { (void)core_->clearStop(); });
    context_.run();
}

void AsioRunLoop::stop() {
    core_->checkProcess();
    core_->requestStop();
    context_.stop();
}

int AsioRunLoop::fileDescriptor() {
    if (!descriptor_) {
        descriptor_ = std::make_unique<LoopDescriptor>(context_);
        core_->setWakeUp([bell = descriptor_->bell()] { bell->ring(); });
    }
    return descriptor_->fileDescriptor();
}

std::optional<std::chrono::steady_clock::time_point> AsioRunLoop::nextDeadline() {
    return core_->nextDeadline();
}

void AsioRunLoop::step() {
    core_->checkProcess();
    if (core_->isCurrent() && core_->isInPass()) {
        throw std::logic_error("a run loop was stepped inside one of its own blocks");
    }
    core_->becomeOwner();
    // What is left, also by an exception, is told by the bell: the descriptor knows of new things only.
    bool isWorkLeft = true;
    const OnLeaving ring([this, &isWorkLeft] {
        if (isWorkLeft && descriptor_) {
            descriptor_->bell()->ring();
        }
    });
    const auto running = flagWhile(isRunning_);
    (void)core_->clearStop();
    // A context that was stopped, or once had nothing to wait for, runs nothing more until then.
    context_.restart();
    for (int handlers = 0; handlers < kMostHandlersInStep; ++handlers) {
        if (context_.poll_one() == 0) {
            // A bell is always waited for, so the context does not run out of work: where it counts as
            // stopped somebody has stopped it, perhaps in the middle.
            isWorkLeft = context_.stopped();
            return;
        }
    }
}

void AsioRunLoop::runThenDrain(const std::function<void()>& work) {
    core_->runThenDrain(work);
}

}  // namespace xel
