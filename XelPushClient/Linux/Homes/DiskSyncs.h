#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>

#include "XelPushClient/Linux/Homes/CarriedJournal.h"
#include "XelPushClient/Linux/Process/BackgroundThread.h"

namespace xel {

class NSRunLoop;

/// Synchronises a journal with the disk for everybody who waits for that, on a thread of its own, and answers
/// on the run loop: who comes while it does shares the next one. Thread: the run loop's.
class DiskSyncs : public std::enable_shared_from_this<DiskSyncs> {
public:
    /// Syncs what is there, from the other thread.
    using Sync = std::function<bool(const CarriedJournal::Extent& extent)>;

    DiskSyncs(std::shared_ptr<NSRunLoop> runLoop, Sync sync);
    DiskSyncs(const DiskSyncs&) = delete;
    DiskSyncs& operator=(const DiskSyncs&) = delete;
    ~DiskSyncs();

    /// Throws what keeps it from being begun, and answers nobody then.
    void add(const CarriedJournal::Extent& extent, std::function<void(bool)> done);

private:
    struct Waiter {
        CarriedJournal::Extent extent;
        std::function<void(bool)> done;
        bool isSynced = false;
    };

    void syncForWaiters();
    void answerNext();

    const std::shared_ptr<NSRunLoop> runLoop_;
    const Sync sync_;

    // In lists, because those who wait go from one to the next where memory may have run out.
    std::mutex mutex_;
    std::list<Waiter> waiting_;  // guarded by it, like the next
    std::list<Waiter> due_;      // a block each is posted, or being posted
    std::atomic<bool> isEnding_ = false;

    // Last: its thread uses what is above and is gone before that is.
    SerialWorker worker_{"xel-sync"};
};

}  // namespace xel
