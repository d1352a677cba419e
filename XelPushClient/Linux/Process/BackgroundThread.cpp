#include "XelPushClient/Linux/Process/BackgroundThread.h"

#include <exception>
#include <utility>

#include <pthread.h>

namespace xel {

std::thread startBackgroundThread(std::string name, std::function<void()> work) {
    const BlockedSignals blocked;
    return std::thread([name = std::move(name), work = std::move(work)] {
        pthread_setname_np(pthread_self(), name.c_str());
        work();
    });
}

SerialWorker::~SerialWorker() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    somethingToDo_.notify_one();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void SerialWorker::add(std::function<void()> job) {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
    if (!thread_.joinable()) {
        try {
            thread_ = startBackgroundThread(threadName_, [this] { work(); });
        } catch (...) {
            jobs_.pop_back();
            throw;
        }
    }
    somethingToDo_.notify_one();
}

void SerialWorker::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        somethingToDo_.wait(lock, [this] { return isEnding_ || !jobs_.empty(); });
        if (isEnding_) {
            return;
        }
        auto job = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        try {
            job();
        } catch (const std::exception&) {
            // There was no memory for it, most likely; whoever waits for its outcome has a time limit.
        }
        // Without the lock: what it holds may add a job while it is destroyed.
        job = nullptr;
        lock.lock();
    }
}

}  // namespace xel
