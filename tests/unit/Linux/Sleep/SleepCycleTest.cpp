#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sdbus-c++/Types.h>
#include <unistd.h>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Sleep/LogindSleepWatch.h"
#include "XelPushClient/Linux/Sleep/SleepCycle.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/RecordingLogSink.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using State = UIApplicationState;

/// A descriptor as logind hands it out, and its other end, on which is seen whether it is held.
class Inhibitor {
public:
    Inhibitor() {
        std::array<int, 2> ends{-1, -1};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
        watched_ = FileDescriptor(ends[0]);
        held_ = FileDescriptor(ends[1]);
    }
    FileDescriptor take() { return std::move(held_); }
    [[nodiscard]] bool isHeld() const {
        pollfd end{watched_.number(), POLLIN, 0};
        return ::poll(&end, 1, 0) == 0;
    }

private:
    FileDescriptor watched_;
    FileDescriptor held_;
};

class SleepCycleTest : public testing::Test {
protected:
    SleepCycleTest() { cycle_.inhibitorWasTaken(inhibitor_.take()); }

    UIBackgroundTaskIdentifier beginTask() {
        return application_->beginBackgroundTaskWithName("task", [this] { ++expired_; });
    }

    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<LinuxApplication> application_ =
        std::make_shared<LinuxApplication>(LinuxApplication::Surroundings{
            runLoop_, std::make_shared<FakeClock>(runLoop_), std::make_shared<RecordingLogSink>()});
    int asked_ = 0;
    int expired_ = 0;
    Inhibitor inhibitor_;
    SleepCycle cycle_{runLoop_, application_, [this] { ++asked_; }};
};

TEST_F(SleepCycleTest, HoldsTheInhibitorWhileTheMachineIsAwake) {
    const auto task = beginTask();
    application_->endBackgroundTask(task);
    runLoop_->advanceBy(24h);
    EXPECT_TRUE(inhibitor_.isHeld());
    EXPECT_EQ(application_->applicationState(), State::Active);
    EXPECT_EQ(asked_, 0);
}

TEST_F(SleepCycleTest, LetsTheMachineSleepOnceTheLastTaskHasEnded) {
    const auto first = beginTask();
    const auto second = beginTask();
    cycle_.sleepIsNear();
    EXPECT_EQ(application_->applicationState(), State::Background);
    application_->endBackgroundTask(first);
    runLoop_->advanceBy(1s);
    EXPECT_TRUE(inhibitor_.isHeld()) << "one task is still running";
    application_->endBackgroundTask(second);
    runLoop_->advanceBy(SleepCycle::kGoodbyeTime - 1ms);
    EXPECT_TRUE(inhibitor_.isHeld()) << "what the task has sent may not have left yet";
    runLoop_->advanceBy(1ms);
    EXPECT_FALSE(inhibitor_.isHeld());
    EXPECT_EQ(expired_, 0);
}

TEST_F(SleepCycleTest, LetsTheMachineSleepWhenNoTaskIsRunning) {
    cycle_.sleepIsNear();
    runLoop_->advanceBy(SleepCycle::kGoodbyeTime);
    EXPECT_FALSE(inhibitor_.isHeld());
}

struct DelayCase {
    std::chrono::milliseconds delay;
    std::chrono::milliseconds timeForTasks;
};

class SleepCycleDelays : public SleepCycleTest, public testing::WithParamInterface<DelayCase> {};

TEST_P(SleepCycleDelays, ExpireTasksBeforeTheDelayIsUsedUp) {
    const auto [delay, timeForTasks] = GetParam();
    cycle_.setLongestDelay(delay);
    cycle_.sleepIsNear();
    beginTask();  // as the news of the background makes the client do
    runLoop_->advanceBy(timeForTasks - 1ms);
    EXPECT_EQ(expired_, 0);
    EXPECT_TRUE(inhibitor_.isHeld());
    runLoop_->advanceBy(1ms);
    EXPECT_EQ(expired_, 1);
    runLoop_->advanceBy(SleepCycle::kGoodbyeTime);
    EXPECT_FALSE(inhibitor_.isHeld());
}

INSTANTIATE_TEST_SUITE_P(Delays, SleepCycleDelays,
                         testing::Values(DelayCase{5s, 4s}, DelayCase{2s, 1s}, DelayCase{1s, 500ms},
                                         DelayCase{0s, 100ms},
                                         DelayCase{1h, LinuxApplication::kBackgroundTime}));

TEST_F(SleepCycleTest, ExpectsTheUsualDelayUntilItIsTold) {
    cycle_.sleepIsNear();
    beginTask();
    runLoop_->advanceBy(SleepCycle::kUsualDelay - SleepCycle::kReserve);
    EXPECT_EQ(expired_, 1);
}

TEST_F(SleepCycleTest, MakesTheApplicationWhatItWasAndAsksForANewInhibitor) {
    cycle_.sleepIsNear();
    runLoop_->advanceBy(1s);
    cycle_.isAwake();
    EXPECT_EQ(application_->applicationState(), State::Active);
    EXPECT_EQ(asked_, 1);

    Inhibitor next;
    cycle_.inhibitorWasTaken(next.take());
    application_->willResignActive();
    cycle_.sleepIsNear();
    EXPECT_EQ(application_->applicationState(), State::Background);
    runLoop_->advanceBy(1s);
    EXPECT_FALSE(next.isHeld());
    cycle_.isAwake();
    EXPECT_EQ(application_->applicationState(), State::Inactive);
    EXPECT_EQ(asked_, 2);
}

TEST_F(SleepCycleTest, LeavesAnApplicationInTheBackgroundWhereItsHostPutIt) {
    application_->enterBackground();
    beginTask();
    cycle_.sleepIsNear();
    runLoop_->advanceBy(SleepCycle::kUsualDelay - SleepCycle::kReserve);
    EXPECT_EQ(expired_, 1) << "its task cannot go on while the machine sleeps";
    runLoop_->advanceBy(SleepCycle::kGoodbyeTime);
    EXPECT_FALSE(inhibitor_.isHeld());
    cycle_.isAwake();
    EXPECT_EQ(application_->applicationState(), State::Background);
}

TEST_F(SleepCycleTest, FollowsTheHostsCallsBetweenTheTwo) {
    cycle_.sleepIsNear();
    application_->becomeActive();
    cycle_.isAwake();
    EXPECT_EQ(application_->applicationState(), State::Active);
}

TEST_F(SleepCycleTest, KeepsItsInhibitorWhenTheSleepIsCalledOff) {
    beginTask();
    cycle_.sleepIsNear();
    cycle_.sleepIsNear();
    cycle_.isAwake();
    cycle_.isAwake();
    runLoop_->advanceBy(1h);
    EXPECT_TRUE(inhibitor_.isHeld());
    EXPECT_EQ(asked_, 0);
    EXPECT_EQ(expired_, 0);
    EXPECT_EQ(application_->applicationState(), State::Active);
}

TEST_F(SleepCycleTest, IsCalledOffBetweenTheLastTaskAndTheSleep) {
    cycle_.sleepIsNear();
    cycle_.isAwake();
    runLoop_->advanceBy(1h);
    EXPECT_TRUE(inhibitor_.isHeld());
}

TEST_F(SleepCycleTest, DoesNotKeepAnInhibitorThatCameLate) {
    cycle_.sleepIsNear();
    runLoop_->advanceBy(1s);
    Inhibitor late;
    cycle_.inhibitorWasTaken(late.take());
    runLoop_->advanceBy(SleepCycle::kGoodbyeTime);
    EXPECT_FALSE(late.isHeld());
}

TEST_F(SleepCycleTest, ReplacesAnInhibitorByANewerOne) {
    Inhibitor next;
    cycle_.inhibitorWasTaken(next.take());
    EXPECT_FALSE(inhibitor_.isHeld());
    EXPECT_TRUE(next.isHeld());
}

TEST_F(SleepCycleTest, ComesBackWhenNobodyWouldTellOfTheMorning) {
    cycle_.sleepIsNear();
    cycle_.watchIsLost();
    EXPECT_FALSE(inhibitor_.isHeld());
    EXPECT_EQ(application_->applicationState(), State::Active);
    EXPECT_EQ(asked_, 0) << "there is nobody to ask";
}

TEST(LogindSleepWatch, ReadsHowLongTheMachineWaits) {
    EXPECT_EQ(longestDelayOf(sdbus::Variant(std::uint64_t{5'000'000})), 5s);
    EXPECT_EQ(longestDelayOf(sdbus::Variant(std::uint64_t{0})), 0ms);
    EXPECT_EQ(longestDelayOf(sdbus::Variant(~std::uint64_t{0})), 2 * LinuxApplication::kBackgroundTime);
    EXPECT_EQ(longestDelayOf(sdbus::Variant(5'000'000)), std::nullopt);
}

}  // namespace
}  // namespace xel
