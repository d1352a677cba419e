#include "XelPushClient/Linux/Process/ThreadOperationQueue.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "XelPushClient/Linux/Process/BackgroundThread.h"

namespace xel {

/// The operations, shared with the threads that run them.
class ThreadOperationQueue::Operations : public std::enable_shared_from_this<Operations> {
public:
    Operations(std::string queueName, int mostThreads, std::shared_ptr<LogSink> logSink)
        : queueName_(std::move(queueName)), mostThreads_(mostThreads), logSink_(std::move(logSink)) {}

    void add(std::function<void()> block) {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(block));
        if (threads_ == mostThreads_) {
            return;
        }
        try {
            // Nobody can join it: an operation may be what destroys the queue.
            startBackgroundThread("xel-operations", [self = shared_from_this()] { self->work(); }).detach();
            ++threads_;
        } catch (const std::exception&) {
            // Those that run already take it too, only later.
            if (threads_ == 0) {
                waiting_.pop_back();
                throw;
            }
        }
    }

    /// Drops what has not started and waits for what is running; from inside an operation, for which nobody
    /// can wait there, only the former.
    void end() {
        std::deque<std::function<void()>> dropped;
        std::unique_lock lock(mutex_);
        dropped.swap(waiting_);
        if (current_ != this) {
            threadEnded_.wait(lock, [this] { return threads_ == 0; });
        }
    }

private:
    void work() {
        current_ = this;
        std::unique_lock lock(mutex_);
        while (!waiting_.empty()) {
            auto block = std::move(waiting_.front());
            waiting_.pop_front();
            lock.unlock();
            run(block);
            block = nullptr;  // what it holds may be the queue
            lock.lock();
        }
        --threads_;
        threadEnded_.notify_all();
    }

    /// An operation fails alone: neither its thread nor the process goes with it.
    void run(const std::function<void()>& block) const {
        try {
            block();
        } catch (const std::exception& error) {
            report(error.what());
        }
    }

    void report(std::string_view reason) const {
        try {
            if (logSink_ != nullptr) {
                logSink_->write("An operation of the queue \"" + queueName_ +
                                "\" has failed: " + std::string(reason));
            }
        } catch (const std::exception&) {
            return;  // not even memory to say so
        }
    }

    /// The operations of which the calling thread runs one.
    static thread_local const Operations* current_;

    const std::string queueName_;
    const int mostThreads_;
    const std::shared_ptr<LogSink> logSink_;
    std::mutex mutex_;
    std::condition_variable threadEnded_;
    std::deque<std::function<void()>> waiting_;
    int threads_ = 0;
};

thread_local const ThreadOperationQueue::Operations* ThreadOperationQueue::Operations::current_ = nullptr;

ThreadOperationQueue::ThreadOperationQueue(std::string name, int maxConcurrentOperationCount,
                                           std::shared_ptr<LogSink> logSink)
    : name_(std::move(name)), maxConcurrentOperationCount_(maxConcurrentOperationCount) {
    const bool isPlatformsChoice = maxConcurrentOperationCount == kDefaultMaxConcurrentOperationCount;
    if (!isPlatformsChoice && maxConcurrentOperationCount < 1) {
        throw std::invalid_argument("the operation queue \"" + name_ + "\" was asked to run " +
                                    std::to_string(maxConcurrentOperationCount) + " operations at a time");
    }
    operations_ = std::make_shared<Operations>(
        name_, isPlatformsChoice ? kThreadsOfPlatformsChoice : maxConcurrentOperationCount,
        std::move(logSink));
}

ThreadOperationQueue::~ThreadOperationQueue() {
    operations_->end();
}

void ThreadOperationQueue::addOperationWithBlock(std::function<void()> block) {
    operations_->add(std::move(block));
}

std::shared_ptr<NSOperationQueue> ThreadOperationQueueFactory::makeOperationQueue(
    std::string name, int maxConcurrentOperationCount) {
    return std::make_shared<ThreadOperationQueue>(std::move(name), maxConcurrentOperationCount, logSink_);
}

}  // namespace xel
