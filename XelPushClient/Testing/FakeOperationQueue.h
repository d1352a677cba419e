#pragma once

#include <deque>
#include <memory>
#include <mutex>

#include "XelPushClient/Platform/NSOperationQueue.h"

namespace xel {

class NSRunLoop;

/// Queues whose operations each run in a block posted to a run loop, in the order of adding.
///
/// As on a real queue the operation has a thread of its own, for which the block waits: the order is the same
/// in every run, and code that takes the queue's thread for the loop's is found out. What an operation throws
/// leaves the drive of the loop, where a test sees it.
class FakeOperationQueueFactory final : public NSOperationQueueFactory {
public:
    explicit FakeOperationQueueFactory(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    [[nodiscard]] std::shared_ptr<NSOperationQueue> makeOperationQueue(
        std::string name, int maxConcurrentOperationCount) override;

private:
    std::shared_ptr<NSRunLoop> runLoop_;
};

}  // namespace xel
