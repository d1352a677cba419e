#include <chrono>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Application/BackgroundTasks.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

using namespace std::chrono_literals;

class BackgroundTasksTest : public testing::Test {
protected:
    void limit(std::chrono::milliseconds time) {
        tasks_.limitTime(time, [this] { tasks_.expire(); });
    }

    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    BackgroundTasks tasks_{runLoop_, std::make_shared<FakeClock>(runLoop_)};
};

TEST_F(BackgroundTasksTest, AreNumberedFromOne) {
    EXPECT_EQ(tasks_.begin(nullptr), 1U);
    EXPECT_EQ(tasks_.begin(nullptr), 2U);
    tasks_.end(1);
    EXPECT_EQ(tasks_.begin(nullptr), 3U);
}

TEST_F(BackgroundTasksTest, HaveAllTheTimeWithoutALimit) {
    int expired = 0;
    (void)tasks_.begin([&] { ++expired; });
    runLoop_->advanceBy(24h);
    EXPECT_EQ(expired, 0);
    EXPECT_GT(tasks_.timeRemaining(), 1e9);
}

TEST_F(BackgroundTasksTest, ExpireInTheirOrderAtTheLimitAndAreRefusedAfterIt) {
    std::vector<char> expired;
    (void)tasks_.begin([&] { expired.push_back('a'); });
    limit(10s);
    (void)tasks_.begin([&] { expired.push_back('b'); });
    runLoop_->advanceBy(9s);
    EXPECT_DOUBLE_EQ(tasks_.timeRemaining(), 1.0);
    EXPECT_TRUE(expired.empty());
    runLoop_->advanceBy(1s);
    EXPECT_EQ(expired, (std::vector<char>{'a', 'b'}));
    EXPECT_DOUBLE_EQ(tasks_.timeRemaining(), 0.0);
    EXPECT_EQ(tasks_.begin(nullptr), UIBackgroundTaskInvalid);
    tasks_.liftLimit();
    EXPECT_NE(tasks_.begin(nullptr), UIBackgroundTaskInvalid);
}

TEST_F(BackgroundTasksTest, KeepTheShorterOfTwoLimits) {
    int expired = 0;
    (void)tasks_.begin([&] { ++expired; });
    limit(10s);
    limit(20s);
    EXPECT_DOUBLE_EQ(tasks_.timeRemaining(), 10.0);
    limit(3s);
    EXPECT_DOUBLE_EQ(tasks_.timeRemaining(), 3.0);
    runLoop_->advanceBy(3s);
    EXPECT_EQ(expired, 1);
}

TEST_F(BackgroundTasksTest, DoNotExpireOnceTheLimitIsLifted) {
    int expired = 0;
    (void)tasks_.begin([&] { ++expired; });
    limit(10s);
    tasks_.liftLimit();
    runLoop_->advanceBy(24h);
    EXPECT_EQ(expired, 0);
}

TEST_F(BackgroundTasksTest, DoNotExpireOnceTheyHaveEnded) {
    int expired = 0;
    const auto first = tasks_.begin([&] { ++expired; });
    tasks_.end(first);
    tasks_.end(first);
    tasks_.end(99);
    UIBackgroundTaskIdentifier later = UIBackgroundTaskInvalid;
    (void)tasks_.begin([&] { tasks_.end(later); });
    later = tasks_.begin([&] { ++expired; });
    limit(1s);
    runLoop_->advanceBy(1s);
    EXPECT_EQ(expired, 0) << "the handler before ended it";
}

TEST_F(BackgroundTasksTest, SayOnceThatTheLastOneHasEnded) {
    int ended = 0;
    tasks_.setAllEndedHandler([&] { ++ended; });
    const auto first = tasks_.begin(nullptr);
    const auto second = tasks_.begin(nullptr);
    tasks_.end(first);
    EXPECT_EQ(ended, 0);
    EXPECT_FALSE(tasks_.isEmpty());
    tasks_.end(second);
    tasks_.end(second);
    EXPECT_EQ(ended, 1);
    EXPECT_TRUE(tasks_.isEmpty());
}

TEST_F(BackgroundTasksTest, HaveEndedAtTheLimitWhenTheirHandlersLeaveThemRunning) {
    int ended = 0;
    tasks_.setAllEndedHandler([&] { ++ended; });
    (void)tasks_.begin(nullptr);
    const auto other = tasks_.begin([] {});
    limit(10s);
    runLoop_->advanceBy(10s);
    EXPECT_TRUE(tasks_.isEmpty());
    EXPECT_EQ(ended, 1);
    tasks_.end(other);
    EXPECT_EQ(ended, 1) << "it has ended already";
}

}  // namespace
}  // namespace xel
