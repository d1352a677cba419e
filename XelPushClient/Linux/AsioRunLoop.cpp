#include "XelPushClient/Linux/AsioRunLoop.h"

#include <stdexcept>

#include <boost/asio/executor_work_guard.hpp>

#include "XelPushClient/Linux/AsioLoopCore.h"

namespace xel {

// One thread runs the context, which spares it waking others up.
AsioRunLoop::AsioRunLoop()
    : ownContext_(std::make_unique<boost::asio::io_context>(1)), context_(*ownContext_) {
    core_ = std::make_shared<AsioLoopCore>(context_);
}

AsioRunLoop::AsioRunLoop(boost::asio::io_context& hostContext)
    : core_(std::make_shared<AsioLoopCore>(hostContext)), context_(hostContext) {}

AsioRunLoop::~AsioRunLoop() {
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

void AsioRunLoop::run() {
    if (core_->isCurrent() && core_->isInPass()) {
        throw std::logic_error("a run loop was run inside one of its own blocks");
    }
    core_->becomeOwner();
    const auto guard = boost::asio::make_work_guard(context_);
    // First restart, then look: a stop that comes in between is either seen here or stops the context.
    context_.restart();
    if (core_->clearStop()) {
        return;
    }
    try {
        context_.run();
    } catch (...) {
        (void)core_->clearStop();
        throw;
    }
    (void)core_->clearStop();
}

void AsioRunLoop::stop() {
    core_->requestStop();
    context_.stop();
}

void AsioRunLoop::runThenDrain(const std::function<void()>& work) {
    core_->runThenDrain(work);
}

}  // namespace xel
