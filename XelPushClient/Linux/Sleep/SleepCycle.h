#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Linux/Process/FileDescriptor.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

class LinuxApplication;

/// Takes an application to the background when the machine is about to sleep, and back when it wakes up.
///
/// The inhibitor, a descriptor whose closing lets the machine sleep, is held until the last background task
/// has ended and the connections had a moment for their goodbyes. The tasks run for almost as long as the
/// machine waits, then they expire. After waking up the application is as it was before: one that its host
/// has in the background stays there. Thread: the run loop.
class SleepCycle {
public:
    /// How long logind waits unless its configuration says otherwise.
    static constexpr std::chrono::milliseconds kUsualDelay{5000};
    /// What is kept of the delay for closing connections, if half of the delay is not less.
    static constexpr std::chrono::milliseconds kReserve{1000};
    /// From the end of the last task to the sleep: for a DISCONNECT to leave.
    static constexpr std::chrono::milliseconds kGoodbyeTime{200};

    /// `askForInhibitor` is called when one is wanted anew, and answered by `inhibitorWasTaken`.
    SleepCycle(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<LinuxApplication> application,
               std::function<void()> askForInhibitor);
    SleepCycle(const SleepCycle&) = delete;
    SleepCycle& operator=(const SleepCycle&) = delete;
    ~SleepCycle();

    void inhibitorWasTaken(FileDescriptor inhibitor);
    /// How long the machine waits for those who hold an inhibitor.
    void setLongestDelay(std::chrono::milliseconds delay) { longestDelay_ = delay; }

    void sleepIsNear();
    /// The sleep is over, or was called off.
    void isAwake();
    /// Whoever told of sleep has gone, and says nothing of waking up any more.
    void watchIsLost();

private:
    [[nodiscard]] std::chrono::milliseconds timeForTasks() const;
    void letSleepSoon();
    void bringBack();

    std::shared_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<LinuxApplication> application_;
    std::function<void()> askForInhibitor_;
    std::chrono::milliseconds longestDelay_ = kUsualDelay;
    FileDescriptor inhibitor_;
    /// Set from the news of a sleep until the machine is awake again.
    std::optional<UIApplicationState> stateBefore_;
    std::shared_ptr<NSTimer> goodbye_;
    Lifeline<SleepCycle> life_{*this};
};

}  // namespace xel
