#include "XelPushClient/Linux/AsioOperationQueue.h"

#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "XelPushClient/Linux/BlockedSignals.h"

namespace xel {
namespace {

/// The pool whose operation the calling thread is in.
thread_local const void* currentPool = nullptr;

}  // namespace

class AsioOperationQueue::Pool {
public:
    explicit Pool(int threadCount) : threadCount_(static_cast<std::size_t>(threadCount)) {}
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    ~Pool() {
        if (threads_) {
            threads_->stop();
            threads_->join();
        }
    }

    void add(std::function<void()> block) {
        const std::lock_guard lock(mutex_);
        if (!threads_) {
            // Signals are the business of the host's own threads.
            const BlockedSignals blocked;
            threads_.emplace(threadCount_);
        }
        boost::asio::post(*threads_, [this, block = std::move(block)] {
            currentPool = this;
            block();
        });
    }

private:
    std::size_t threadCount_;
    std::mutex mutex_;
    std::optional<boost::asio::thread_pool> threads_;
};

AsioOperationQueue::AsioOperationQueue(std::string name, int maxConcurrentOperationCount)
    : name_(std::move(name)), maxConcurrentOperationCount_(maxConcurrentOperationCount) {
    const bool isPlatformsChoice = maxConcurrentOperationCount == kDefaultMaxConcurrentOperationCount;
    if (!isPlatformsChoice && maxConcurrentOperationCount < 1) {
        throw std::invalid_argument("the operation queue \"" + name_ + "\" was asked to run " +
                                    std::to_string(maxConcurrentOperationCount) + " operations at a time");
    }
    pool_ =
        std::make_unique<Pool>(isPlatformsChoice ? kThreadsOfPlatformsChoice : maxConcurrentOperationCount);
}

AsioOperationQueue::~AsioOperationQueue() {
    if (currentPool != pool_.get()) {
        return;
    }
    // The last owner was one of the queue's own operations, and a thread cannot wait for itself.
    std::thread([pool = std::move(pool_)]() mutable { pool.reset(); }).detach();
}

void AsioOperationQueue::addOperationWithBlock(std::function<void()> block) {
    pool_->add(std::move(block));
}

std::shared_ptr<NSOperationQueue> AsioOperationQueueFactory::makeOperationQueue(
    std::string name, int maxConcurrentOperationCount) {
    return std::make_shared<AsioOperationQueue>(std::move(name), maxConcurrentOperationCount);
}

}  // namespace xel
