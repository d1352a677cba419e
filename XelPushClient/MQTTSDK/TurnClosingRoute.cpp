#include "XelPushClient/MQTTSDK/TurnClosingRoute.h"

#include <mutex>
#include <utility>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

// The way back from the main loop's thread, which may be on it while the session and its loop go away.
class TurnClosingRoute::Gate {
public:
    explicit Gate(NSRunLoop& runLoop) : runLoop_(&runLoop) {}

    void post(std::function<void()> closing) {
        const std::lock_guard lock(mutex_);
        if (runLoop_ != nullptr) {
            // Under the lock, so that the route, and the loop after
            // it, are not destroyed before this has returned.
            runLoop_->post(std::move(closing));
        }
    }

    void shut() {
        const std::lock_guard lock(mutex_);
        runLoop_ = nullptr;
    }

private:
    std::mutex mutex_;
    NSRunLoop* runLoop_;
};

TurnClosingRoute::TurnClosingRoute(NSRunLoop& runLoop, NSRunLoop* mainRunLoop)
    : runLoop_(runLoop), mainRunLoop_(mainRunLoop == &runLoop ? nullptr : mainRunLoop) {
    if (mainRunLoop_ != nullptr) {
        gate_ = std::make_shared<Gate>(runLoop);
    }
}

TurnClosingRoute::~TurnClosingRoute() {
    if (gate_) {
        gate_->shut();
    }
}

void TurnClosingRoute::post(std::function<void()> closing) {
    if (mainRunLoop_ == nullptr) {
        runLoop_.post(std::move(closing));
        return;
    }
    // There and back again: behind the broadcasts on the main loop, then on the session's own thread.
    mainRunLoop_->post(
        [gate = gate_, closing = std::move(closing)]() mutable { gate->post(std::move(closing)); });
}

}  // namespace xel
