#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

#include "XelPushClient/Linux/Push/UnifiedPushBus.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// The way from the bus's thread to the run loop. Once it is closed nothing arrives any more.
class UnifiedPushInbox : public std::enable_shared_from_this<UnifiedPushInbox> {
public:
    UnifiedPushInbox(std::shared_ptr<NSRunLoop> runLoop, std::size_t mostCalls)
        : runLoop_(std::move(runLoop)), mostCalls_(mostCalls) {}

    // On the run loop.

    void open(UnifiedPushBus::Calls calls) { calls_ = std::move(calls); }
    void close() {
        calls_ = {};
        isClosed_ = true;
    }

    // From any thread.

    /// Runs the block, which answers an operation.
    void answer(std::function<void()> block) {
        runLoop_->post([weak = weak_from_this(), block = std::move(block)] {
            if (const auto self = weak.lock(); self && !self->isClosed_) {
                block();
            }
        });
    }

    /// Runs the block, which is a call of somebody else's. False when too many are under way.
    [[nodiscard]] bool call(std::function<void(const UnifiedPushBus::Calls&)> block) {
        if (underWay_.fetch_add(1) >= mostCalls_) {
            underWay_.fetch_sub(1);
            return false;
        }
        runLoop_->post([weak = weak_from_this(), block = std::move(block)] {
            const auto self = weak.lock();
            if (!self) {
                return;
            }
            self->underWay_.fetch_sub(1);
            if (!self->isClosed_) {
                const UnifiedPushBus::Calls calls = self->calls_;
                block(calls);
            }
        });
        return true;
    }

private:
    const std::shared_ptr<NSRunLoop> runLoop_;
    const std::size_t mostCalls_;
    std::atomic<std::size_t> underWay_{0};
    // The run loop's own.
    UnifiedPushBus::Calls calls_;
    bool isClosed_ = false;
};

}  // namespace xel
