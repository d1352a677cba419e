#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSOperationQueue.h"

namespace xel {

/// An operation queue on threads of its own, which live as long as there is work: operations are rare, and a
/// process may hold a hundred queues.
class ThreadOperationQueue final : public NSOperationQueue {
public:
    /// Most threads of a queue whose count is left to the platform.
    static constexpr int kThreadsOfPlatformsChoice = 4;

    /// Throws `std::invalid_argument` for a count that is neither positive nor -1. The sink is told of
    /// operations that throw; it may be null.
    ThreadOperationQueue(std::string name, int maxConcurrentOperationCount,
                         std::shared_ptr<LogSink> logSink = nullptr);
    ~ThreadOperationQueue() override;
    ThreadOperationQueue(const ThreadOperationQueue&) = delete;
    ThreadOperationQueue& operator=(const ThreadOperationQueue&) = delete;

    [[nodiscard]] const std::string& name() const override { return name_; }
    [[nodiscard]] int maxConcurrentOperationCount() const override { return maxConcurrentOperationCount_; }
    void addOperationWithBlock(std::function<void()> block) override;

private:
    class Operations;

    std::string name_;
    int maxConcurrentOperationCount_;
    std::shared_ptr<Operations> operations_;
};

/// From any thread.
class ThreadOperationQueueFactory final : public NSOperationQueueFactory {
public:
    explicit ThreadOperationQueueFactory(std::shared_ptr<LogSink> logSink = nullptr)
        : logSink_(std::move(logSink)) {}

    [[nodiscard]] std::shared_ptr<NSOperationQueue> makeOperationQueue(
        std::string name, int maxConcurrentOperationCount) override;

private:
    std::shared_ptr<LogSink> logSink_;
};

}  // namespace xel
