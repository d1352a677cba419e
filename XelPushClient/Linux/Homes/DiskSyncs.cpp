#include "XelPushClient/Linux/Homes/DiskSyncs.h"

#include <chrono>
#include <iterator>
#include <new>
#include <thread>
#include <utility>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {
namespace {

/// Until a block that found no memory is posted again.
constexpr std::chrono::milliseconds kWaitForMemory{20};

}  // namespace

DiskSyncs::DiskSyncs(std::shared_ptr<NSRunLoop> runLoop, Sync sync)
    : runLoop_(std::move(runLoop)), sync_(std::move(sync)) {}

DiskSyncs::~DiskSyncs() {
    isEnding_ = true;
}

void DiskSyncs::add(const CarriedJournal::Extent& extent, std::function<void(bool)> done) {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({extent, std::move(done)});
    if (waiting_.size() > 1) {
        return;
    }
    try {
        worker_.add([this] { syncForWaiters(); });
    } catch (...) {
        // Left there, it would be waited for by everybody who comes later.
        waiting_.pop_back();
        throw;
    }
}

// What they wait with stays here until its block runs: they are answered, and destroyed, on the run loop
// only.
void DiskSyncs::syncForWaiters() {
    std::list<Waiter> waiters;
    {
        const std::lock_guard lock(mutex_);
        // Before the sync: who comes during it may have written too late for it and needs another.
        waiters.swap(waiting_);
    }
    const std::size_t count = waiters.size();
    bool isSynced = false;
    for (auto waiter = waiters.begin(); waiter != waiters.end(); ++waiter) {
        // A run has many thousand writes, so neighbours wait for the same.
        const bool isFirst = waiter == waiters.begin() || std::prev(waiter)->extent != waiter->extent;
        isSynced = isFirst ? sync_(waiter->extent) : isSynced;
        waiter->isSynced = isSynced;
    }
    {
        const std::lock_guard lock(mutex_);
        due_.splice(due_.end(), waiters);
    }
    for (std::size_t posted = 0; posted < count && !isEnding_;) {
        try {
            runLoop_->post([weak = weak_from_this()] {
                if (const auto self = weak.lock()) {
                    self->answerNext();
                }
            });
            ++posted;
        } catch (const std::bad_alloc&) {
            // Nobody else would ever tell them.
            std::this_thread::sleep_for(kWaitForMemory);
        }
    }
}

void DiskSyncs::answerNext() {
    std::list<Waiter> next;
    {
        const std::lock_guard lock(mutex_);
        next.splice(next.end(), due_, due_.begin());
    }
    next.front().done(next.front().isSynced);
}

}  // namespace xel
