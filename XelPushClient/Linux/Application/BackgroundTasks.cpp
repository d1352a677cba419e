#include "XelPushClient/Linux/Application/BackgroundTasks.h"

#include <limits>
#include <vector>

namespace xel {

UIBackgroundTaskIdentifier BackgroundTasks::begin(std::function<void()> expirationHandler) {
    if (timeRemaining() <= 0.0) {
        return UIBackgroundTaskInvalid;
    }
    tasks_.emplace(++lastTask_, std::move(expirationHandler));
    return lastTask_;
}

void BackgroundTasks::end(UIBackgroundTaskIdentifier identifier) {
    if (tasks_.erase(identifier) > 0 && tasks_.empty() && allEndedHandler_) {
        allEndedHandler_();
    }
}

void BackgroundTasks::limitTime(std::chrono::milliseconds longestTime, std::function<void()> timeIsUp) {
    const auto deadline = clock_->steadyNow() + longestTime;
    // Who goes to the background once more gets no more time by it.
    if (deadline_ && *deadline_ <= deadline) {
        return;
    }
    liftLimit();
    deadline_ = deadline;
    timer_ = runLoop_->scheduleTimer(longestTime, std::move(timeIsUp));
}

void BackgroundTasks::liftLimit() {
    deadline_.reset();
    if (const auto timer = std::exchange(timer_, nullptr)) {
        timer->invalidate();
    }
}

double BackgroundTasks::timeRemaining() const {
    if (!deadline_) {
        return std::numeric_limits<double>::max();
    }
    const std::chrono::duration<double> left = *deadline_ - clock_->steadyNow();
    return left.count() > 0.0 ? left.count() : 0.0;
}

void BackgroundTasks::expire() {
    std::vector<UIBackgroundTaskIdentifier> running;
    for (const auto& [identifier, handler] : tasks_) {
        running.push_back(identifier);
    }
    for (const UIBackgroundTaskIdentifier identifier : running) {
        const auto task = tasks_.find(identifier);  // a handler before may have ended it
        if (task == tasks_.end()) {
            continue;
        }
        if (const auto handler = std::exchange(task->second, nullptr)) {
            handler();
        }
        end(identifier);
    }
}

}  // namespace xel
