#pragma once

#include <functional>
#include <memory>
#include <string>

namespace xel {

/// A named queue of work that does not belong on a run loop.
///
/// Operations start in the order in which they were added, up to `maxConcurrentOperationCount` at a time
/// (-1 leaves it to the platform), on threads that are no run loop's. An operation that throws fails
/// alone, and the platform logs what it threw. Dropping the queue waits for what is running and drops what
/// has not started.
class NSOperationQueue {
public:
    static constexpr int kDefaultMaxConcurrentOperationCount = -1;

    virtual ~NSOperationQueue() = default;

    [[nodiscard]] virtual const std::string& name() const = 0;
    [[nodiscard]] virtual int maxConcurrentOperationCount() const = 0;

    /// From any thread; never runs the block inside the call.
    virtual void addOperationWithBlock(std::function<void()> block) = 0;
};

/// Makes queues. From any thread.
class NSOperationQueueFactory {
public:
    virtual ~NSOperationQueueFactory() = default;

    /// `maxConcurrentOperationCount` 1 is a serial queue; -1 the platform's choice.
    [[nodiscard]] virtual std::shared_ptr<NSOperationQueue> makeOperationQueue(
        std::string name, int maxConcurrentOperationCount) = 0;
};

}  // namespace xel
