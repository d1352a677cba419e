#pragma once

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace minimal {

/// A run loop on poll(2), and the place where sockets wait.
class PollRunLoop final : public xel::NSRunLoop {
public:
    /// Answers, before each wait, the events of poll(2) that a descriptor waits for; is told which came.
    struct Watch {
        std::function<short()> wanted;
        std::function<void()> happened;
    };

    ~PollRunLoop() override { ::close(wakeUp_); }

    void post(std::function<void()> block) override {
        {
            const std::lock_guard lock(mutex_);
            posted_.push_back(std::move(block));
        }
        (void)::eventfd_write(wakeUp_, 1);
    }
    std::shared_ptr<xel::NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                                std::function<void()> block) override {
        auto timer = std::make_shared<Timer>(std::move(block));
        timers_.emplace(std::chrono::steady_clock::now() + delay, timer);
        return timer;
    }
    [[nodiscard]] bool isCurrent() const override { return std::this_thread::get_id() == thread_; }
    void run() override {
        thread_ = std::this_thread::get_id();
        while (!stopWanted_.exchange(false)) {
            runPosted();
            runDueTimers();
            waitForEvents();
        }
    }
    void stop() override {
        stopWanted_ = true;
        (void)::eventfd_write(wakeUp_, 1);
    }

    void watch(int descriptor, Watch watch) { watches_[descriptor] = std::move(watch); }
    void unwatch(int descriptor) { watches_.erase(descriptor); }

private:
    struct Timer final : xel::NSTimer {
        explicit Timer(std::function<void()> call) : block(std::move(call)) {}
        void invalidate() override { block = nullptr; }
        [[nodiscard]] bool isValid() const override { return block != nullptr; }
        std::function<void()> block;
    };

    // What a block posts runs in the next pass, so that sockets and timers have their turn.
    void runPosted() {
        std::unique_lock lock(mutex_);
        for (std::size_t count = posted_.size(); count > 0 && !stopWanted_; --count) {
            const auto block = std::move(posted_.front());
            posted_.pop_front();
            lock.unlock();
            block();
            lock.lock();
        }
    }
    void runDueTimers() {
        const auto now = std::chrono::steady_clock::now();
        while (!stopWanted_ && !timers_.empty() && timers_.begin()->first <= now) {
            const auto timer = timers_.begin()->second;
            timers_.erase(timers_.begin());
            if (const auto block = std::exchange(timer->block, nullptr)) {
                block();
            }
        }
    }
    void waitForEvents() {
        std::vector<pollfd> descriptors{{wakeUp_, POLLIN, 0}};
        for (const auto& [descriptor, watch] : watches_) {
            descriptors.push_back({descriptor, watch.wanted(), 0});
        }
        std::chrono::milliseconds wait{-1};
        if (!timers_.empty()) {
            const auto left = timers_.begin()->first - std::chrono::steady_clock::now();
            wait = std::chrono::ceil<std::chrono::milliseconds>(std::max(left, decltype(left)::zero()));
        }
        (void)::poll(descriptors.data(), descriptors.size(), static_cast<int>(wait.count()));
        eventfd_t count = 0;
        (void)::eventfd_read(wakeUp_, &count);
        for (std::size_t i = 1; i < descriptors.size(); ++i) {
            const auto watch = watches_.find(descriptors[i].fd);  // one socket's news may end another
            if (descriptors[i].revents != 0 && watch != watches_.end()) {
                const auto happened = watch->second.happened;
                happened();
            }
        }
    }

    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    std::multimap<std::chrono::steady_clock::time_point, std::shared_ptr<Timer>> timers_;
    std::map<int, Watch> watches_;
    std::atomic<std::thread::id> thread_ = std::this_thread::get_id();
    std::atomic<bool> stopWanted_ = false;
    int wakeUp_ = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);  ///< something was posted, or the end is wanted
};

}  // namespace minimal
