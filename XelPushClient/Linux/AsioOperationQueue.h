#pragma once

#include <functional>
#include <memory>
#include <string>

#include "XelPushClient/Platform/NSOperationQueue.h"

namespace xel {

/// An operation queue on a thread pool of its own, whose threads start with the first operation.
class AsioOperationQueue final : public NSOperationQueue {
public:
    /// Threads of a queue whose count is left to the platform.
    static constexpr int kThreadsOfPlatformsChoice = 4;

    /// Throws `std::invalid_argument` for a count that is neither positive nor -1.
    AsioOperationQueue(std::string name, int maxConcurrentOperationCount);
    ~AsioOperationQueue() override;
    AsioOperationQueue(const AsioOperationQueue&) = delete;
    AsioOperationQueue& operator=(const AsioOperationQueue&) = delete;

    [[nodiscard]] const std::string& name() const override { return name_; }
    [[nodiscard]] int maxConcurrentOperationCount() const override { return maxConcurrentOperationCount_; }
    void addOperationWithBlock(std::function<void()> block) override;

private:
    class Pool;

    std::string name_;
    int maxConcurrentOperationCount_;
    std::unique_ptr<Pool> pool_;
};

/// From any thread.
class AsioOperationQueueFactory final : public NSOperationQueueFactory {
public:
    [[nodiscard]] std::shared_ptr<NSOperationQueue> makeOperationQueue(
        std::string name, int maxConcurrentOperationCount) override;
};

}  // namespace xel
