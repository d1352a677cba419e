#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Sleep/LogindSleepWatch.h"
#include "XelPushClient/Linux/System/SystemClock.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/FirstAndLast.h"
#include "tests/integration/desktop/support/MockLogind.h"
#include "tests/integration/desktop/support/PrivateBus.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using test::MockLogind;
using test::PrivateBus;
using State = UIApplicationState;

class LogindSleepWatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        bus_ = std::make_unique<PrivateBus>();
    }

    void startLogind(std::chrono::microseconds longestDelay = 5s) {
        logind_ = std::make_unique<MockLogind>(bus_->address(), longestDelay);
    }
    void startWatch() { startWatch(bus_->address()); }
    void startWatch(const std::string& busAddress) {
        watch_ =
            std::make_unique<LogindSleepWatch>(loop_, log_, application_, LogindOptions{busAddress, "Shop"});
    }
    /// Runs the loop until the condition holds; false when it does not within the test's patience.
    bool runUntil(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + test::kPatience;
        while (!condition() && std::chrono::steady_clock::now() < deadline) {
            loop_->scheduleTimer(5ms, [this] { loop_->stop(); });
            loop_->run();
        }
        return condition();
    }
    bool runUntilState(State state) {
        return runUntil([&] { return application_->applicationState() == state; });
    }
    bool runUntilHeld(std::size_t count) {
        return runUntil([&] { return logind_->heldCount() == count; });
    }

    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::shared_ptr<RecordingLogSink> log_ = std::make_shared<RecordingLogSink>();
    std::shared_ptr<LinuxApplication> application_ = std::make_shared<LinuxApplication>(
        LinuxApplication::Surroundings{loop_, std::make_shared<SystemClock>(), log_});
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<MockLogind> logind_;
    std::unique_ptr<LogindSleepWatch> watch_;
};

TEST_F(LogindSleepWatchTest, DelaysSleepAndSaysWhoDoes) {
    startLogind();
    startWatch();
    ASSERT_TRUE(runUntilHeld(1));
    const auto inhibit = firstOf(logind_->inhibits());
    EXPECT_EQ(inhibit.what, "sleep");
    EXPECT_EQ(inhibit.who, "Shop");
    EXPECT_FALSE(inhibit.why.empty());
    EXPECT_EQ(inhibit.mode, "delay");
    EXPECT_EQ(application_->applicationState(), State::Active);
    watch_.reset();
    EXPECT_TRUE(test::eventually([&] { return logind_->heldCount() == 0; })) << "it goes with the watch";
    EXPECT_TRUE(log_->lines().empty());
}

TEST_F(LogindSleepWatchTest, IsInTheBackgroundWhileTheMachineSleeps) {
    startLogind();
    startWatch();
    ASSERT_TRUE(runUntilHeld(1));
    for (std::size_t night = 1; night <= 2; ++night) {
        logind_->prepareForSleep(true);
        ASSERT_TRUE(runUntilState(State::Background));
        ASSERT_TRUE(runUntilHeld(0));
        logind_->prepareForSleep(false);
        ASSERT_TRUE(runUntilState(State::Active));
        ASSERT_TRUE(runUntilHeld(1)) << "for the next night";
        EXPECT_EQ(logind_->inhibits().size(), night + 1);
    }
}

TEST_F(LogindSleepWatchTest, WaitsForTheLastBackgroundTask) {
    startLogind(1h);
    startWatch();
    ASSERT_TRUE(runUntilHeld(1));
    const auto task = application_->beginBackgroundTaskWithName("task", nullptr);
    logind_->prepareForSleep(true);
    ASSERT_TRUE(runUntilState(State::Background));
    loop_->scheduleTimer(500ms, [this] { loop_->stop(); });
    loop_->run();
    EXPECT_EQ(logind_->heldCount(), 1U);
    application_->endBackgroundTask(task);
    EXPECT_TRUE(runUntilHeld(0));
}

TEST_F(LogindSleepWatchTest, ExpiresTasksBeforeTheDelayOfItsLogindIsUsedUp) {
    startLogind(1200ms);
    startWatch();
    ASSERT_TRUE(runUntilHeld(1));
    bool hasExpired = false;
    (void)application_->beginBackgroundTaskWithName("task", [&] { hasExpired = true; });
    const auto begin = std::chrono::steady_clock::now();
    logind_->prepareForSleep(true);
    ASSERT_TRUE(runUntil([&] { return hasExpired; }));
    EXPECT_EQ(logind_->heldCount(), 1U) << "the goodbye is on its way";
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 600ms);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 4s) << "that would be the usual delay's";
    EXPECT_TRUE(runUntilHeld(0));
}

TEST_F(LogindSleepWatchTest, TakesTheInhibitorAgainFromALogindThatStartsAgain) {
    startLogind();
    startWatch();
    ASSERT_TRUE(runUntilHeld(1));
    logind_.reset();
    startLogind();
    ASSERT_TRUE(runUntilHeld(1));
    logind_->prepareForSleep(true);
    ASSERT_TRUE(runUntilState(State::Background));
    EXPECT_TRUE(runUntilHeld(0));

    logind_.reset();
    EXPECT_TRUE(runUntilState(State::Active)) << "nobody would tell of the morning";
}

TEST_F(LogindSleepWatchTest, FollowsALogindThatComesLater) {
    startWatch();
    ASSERT_TRUE(runUntil([&] { return log_->lines().size() == 1; }));
    startLogind();
    ASSERT_TRUE(runUntilHeld(1));
    logind_->prepareForSleep(true);
    EXPECT_TRUE(runUntilState(State::Background));
}

TEST_F(LogindSleepWatchTest, LogsOneLineWithoutALogindAndNoneWithoutABus) {
    startWatch();
    ASSERT_TRUE(runUntil([&] { return !log_->lines().empty(); }));
    startWatch("unix:path=/nonexistent");
    loop_->scheduleTimer(50ms, [this] { loop_->stop(); });
    loop_->run();
    ASSERT_EQ(log_->lines().size(), 1U);
    EXPECT_EQ(log_->lines().front().find("The machine's sleep is not followed: "), 0U);
    EXPECT_EQ(application_->applicationState(), State::Active);
}

TEST_F(LogindSleepWatchTest, IsInTheBackgroundEvenWhenLogindGrantsNoDelay) {
    logind_ = std::make_unique<MockLogind>(bus_->address(), 5s, true);
    startWatch();
    ASSERT_TRUE(runUntil([&] { return log_->lines().size() == 1; }));
    EXPECT_NE(log_->lines().front().find("AccessDenied"), std::string::npos);
    logind_->prepareForSleep(true);
    ASSERT_TRUE(runUntilState(State::Background));
    logind_->prepareForSleep(false);
    ASSERT_TRUE(runUntilState(State::Active));
    ASSERT_TRUE(runUntil([&] { return logind_->inhibits().size() == 2; })) << "it asks again";
    EXPECT_EQ(log_->lines().size(), 1U);
}

TEST_F(LogindSleepWatchTest, ComesBackWhenTheBusGoes) {
    startLogind();
    startWatch();
    ASSERT_TRUE(runUntilHeld(1));
    logind_->prepareForSleep(true);
    ASSERT_TRUE(runUntilState(State::Background));
    bus_->crash();
    EXPECT_TRUE(runUntilState(State::Active));
}

}  // namespace
}  // namespace xel
