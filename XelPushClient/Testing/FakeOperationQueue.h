#pragma once

#include <deque>
#include <memory>
#include <mutex>

#include "XelPushClient/Platform/NSOperationQueue.h"

namespace xel {

class NSRunLoop;

/// Queues whose operations run when a run loop comes to them: one posted block each, in the order of adding.
///
/// Each operation runs on a thread of its own, as on a real queue, and the posted block waits for it: the
/// order stays the same in every run, and code that takes the queue's thread for the loop's is found out. An
/// operation's exception comes out of the loop's drive, where a test can see it.
class FakeOperationQueueFactory final : public NSOperationQueueFactory {
public:
    explicit FakeOperationQueueFactory(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    [[nodiscard]] std::shared_ptr<NSOperationQueue> makeOperationQueue(
        std::string name, int maxConcurrentOperationCount) override;

private:
    std::shared_ptr<NSRunLoop> runLoop_;
};

}  // namespace xel
