#include "XelPushClient/Linux/Sleep/SleepCycle.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Linux/Application/LinuxApplication.h"

namespace xel {

using namespace std::chrono_literals;

SleepCycle::SleepCycle(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<LinuxApplication> application,
                       std::function<void()> askForInhibitor)
    : runLoop_(std::move(runLoop)),
      application_(std::move(application)),
      askForInhibitor_(std::move(askForInhibitor)) {
    application_->setBackgroundTasksEndedHandler(life_.guarded([](SleepCycle& self) {
        if (self.stateBefore_) {
            self.letSleepSoon();
        }
    }));
}

SleepCycle::~SleepCycle() {
    application_->setBackgroundTasksEndedHandler(nullptr);
}

void SleepCycle::inhibitorWasTaken(FileDescriptor inhibitor) {
    inhibitor_ = std::move(inhibitor);
    // It came late: the tasks have ended, and nobody else would let go of it.
    if (stateBefore_ && !application_->hasBackgroundTasks()) {
        letSleepSoon();
    }
}

void SleepCycle::sleepIsNear() {
    if (stateBefore_) {
        return;
    }
    stateBefore_ = application_->applicationState();
    application_->enterBackground(timeForTasks());
    if (!application_->hasBackgroundTasks()) {
        letSleepSoon();
    }
}

void SleepCycle::isAwake() {
    bringBack();
    // It is still held when the machine is awake again before it was let go.
    if (!inhibitor_.isOpen()) {
        askForInhibitor_();
    }
}

void SleepCycle::watchIsLost() {
    inhibitor_ = FileDescriptor();
    bringBack();
}

std::chrono::milliseconds SleepCycle::timeForTasks() const {
    // A task that has no time at all would be refused, and nobody would close its connection.
    const auto time = longestDelay_ - std::min(kReserve, longestDelay_ / 2);
    return std::clamp<std::chrono::milliseconds>(time, 100ms, LinuxApplication::kBackgroundTime);
}

void SleepCycle::letSleepSoon() {
    if (goodbye_) {
        goodbye_->invalidate();
    }
    goodbye_ = runLoop_->scheduleTimer(kGoodbyeTime, life_.guarded([](SleepCycle& self) {
        // A task that began meanwhile says itself when it ends.
        if (!self.application_->hasBackgroundTasks()) {
            self.inhibitor_ = FileDescriptor();
        }
    }));
}

void SleepCycle::bringBack() {
    const auto before = std::exchange(stateBefore_, std::nullopt);
    if (const auto timer = std::exchange(goodbye_, nullptr)) {
        timer->invalidate();
    }
    if (before == UIApplicationState::Active) {
        application_->becomeActive();
    } else if (before == UIApplicationState::Inactive) {
        application_->willEnterForeground();
    }
}

}  // namespace xel
