#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

/// An application's background tasks, and the time that they have in the background.
///
/// Owner: the application. Thread: the run loop.
class BackgroundTasks {
public:
    BackgroundTasks(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<Clock> clock)
        : runLoop_(std::move(runLoop)), clock_(std::move(clock)) {}
    BackgroundTasks(const BackgroundTasks&) = delete;
    BackgroundTasks& operator=(const BackgroundTasks&) = delete;

    /// Answers a new identifier, or 0 once the time is used up.
    [[nodiscard]] UIBackgroundTaskIdentifier begin(std::function<void()> expirationHandler);
    void end(UIBackgroundTaskIdentifier identifier);
    [[nodiscard]] bool isEmpty() const { return tasks_.empty(); }

    /// Called whenever the last task has ended.
    void setAllEndedHandler(std::function<void()> handler) { allEndedHandler_ = std::move(handler); }

    /// Gives the tasks so much time from now on, and no more than what is left of an earlier limit.
    /// `timeIsUp` is called by the run loop at the limit and calls `expire`; it does not fire after
    /// `liftLimit`, but may when the tasks are gone.
    void limitTime(std::chrono::milliseconds longestTime, std::function<void()> timeIsUp);
    void liftLimit();
    /// Seconds left until the limit; very large without one.
    [[nodiscard]] double timeRemaining() const;

    /// Calls the handler of every task that still runs and ends the task if its handler has not. A handler
    /// may begin and end tasks; the caller sees to it that none takes this object away.
    void expire();

private:
    std::shared_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<Clock> clock_;
    std::map<UIBackgroundTaskIdentifier, std::function<void()>> tasks_;
    UIBackgroundTaskIdentifier lastTask_ = UIBackgroundTaskInvalid;
    std::optional<std::chrono::steady_clock::time_point> deadline_;
    std::shared_ptr<NSTimer> timer_;
    std::function<void()> allEndedHandler_;
};

}  // namespace xel
