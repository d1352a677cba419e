#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(FakeRunLoop, LetsNoTimePassByItself) {
    FakeRunLoop loop;
    bool hasFired = false;
    loop.scheduleTimer(milliseconds(1), [&] { hasFired = true; });
    loop.runUntilIdle();
    EXPECT_FALSE(hasFired);
    loop.advanceBy(milliseconds(1));
    EXPECT_TRUE(hasFired);
    EXPECT_EQ(loop.elapsed(), milliseconds(1));
}

TEST(FakeRunLoop, RunsEachTimerAtItsMomentWithPostedWorkBeforeTheNext) {
    FakeRunLoop loop;
    std::vector<std::pair<std::string, FakeRunLoop::Duration>> heard;
    loop.scheduleTimer(seconds(1), [&] {
        heard.emplace_back("first", loop.elapsed());
        loop.post([&] { heard.emplace_back("posted", loop.elapsed()); });
        loop.scheduleTimer(seconds(1), [&] { heard.emplace_back("inner", loop.elapsed()); });
    });
    loop.scheduleTimer(seconds(2), [&] { heard.emplace_back("second", loop.elapsed()); });
    loop.advanceBy(seconds(5));
    using Heard = decltype(heard);
    EXPECT_EQ(
        heard,
        (Heard{
            {"first", seconds(1)}, {"posted", seconds(1)}, {"second", seconds(2)}, {"inner", seconds(2)}}));
    EXPECT_EQ(loop.elapsed(), seconds(5));
}

TEST(FakeRunLoop, StopsTheWayWhereABlockThrewAndGoesOnNextTime) {
    FakeRunLoop loop;
    bool hasFired = false;
    loop.scheduleTimer(seconds(1), [] { throw std::runtime_error("mistake"); });
    loop.scheduleTimer(seconds(2), [&] { hasFired = true; });
    EXPECT_THROW(loop.advanceBy(seconds(10)), std::runtime_error);
    EXPECT_EQ(loop.elapsed(), seconds(1));
    EXPECT_FALSE(hasFired);
    loop.advanceBy(seconds(1));
    EXPECT_TRUE(hasFired);
}

TEST(FakeRunLoop, RefusesWorkWithoutEnd) {
    FakeRunLoop loop;
    std::function<void()> again = [&] { loop.post(again); };
    loop.post(again);
    EXPECT_THROW(loop.runUntilIdle(), std::runtime_error);
}

TEST(FakeRunLoop, JumpsToTheNextTimerWhenRunAsAHostDoes) {
    FakeRunLoop loop;
    loop.scheduleTimer(std::chrono::hours(24), [&] { loop.stop(); });
    loop.run();
    EXPECT_EQ(loop.elapsed(), std::chrono::hours(24));
}

TEST(FakeRunLoop, TellsWhatIsScheduledAndDiscardsIt) {
    FakeRunLoop loop;
    bool hasRun = false;
    loop.post([&] { hasRun = true; });
    const auto timer = loop.scheduleTimer(seconds(3), [&] { hasRun = true; });
    EXPECT_TRUE(loop.hasWorkDue());
    EXPECT_EQ(loop.scheduledTimerCount(), 1U);
    EXPECT_EQ(loop.nextTimerDeadline(), seconds(3));
    loop.discardEverything();
    EXPECT_FALSE(timer->isValid());
    EXPECT_EQ(loop.scheduledTimerCount(), 0U);
    EXPECT_EQ(loop.nextTimerDeadline(), std::nullopt);
    loop.advanceBy(seconds(10));
    EXPECT_FALSE(hasRun);
}

TEST(FakeRunLoop, RunsWhatAnotherThreadHasPostedBeforeItLetsTimeGoOn) {
    constexpr int kTries = 20'000;
    FakeRunLoop loop;
    std::function<void()> tick = [&] { loop.scheduleTimer(milliseconds(1), tick); };
    loop.post(tick);
    int lateCount = 0;
    std::thread other([&] {
        for (int i = 0; i < kTries; ++i) {
            std::promise<FakeRunLoop::Duration> hasRun;
            loop.post([&] { hasRun.set_value(loop.elapsed()); });
            const auto posted = loop.elapsed();
            lateCount += hasRun.get_future().get() > posted ? 1 : 0;
        }
        loop.stop();
    });
    loop.run();
    other.join();
    EXPECT_EQ(lateCount, 0);
}

TEST(FakeRunLoop, KeepsWhatIsOutsideTheProcessWhenThatEnds) {
    FakeRunLoop loop;
    bool hasFired = false;
    loop.scheduleOutside(seconds(3), [&] { hasFired = true; });
    loop.scheduleTimer(seconds(1), [] { FAIL() << "the process has ended"; });
    EXPECT_EQ(loop.scheduledTimerCount(), 1U);
    loop.discardEverything();
    EXPECT_EQ(loop.nextTimerDeadline(), seconds(3));
    loop.advanceBy(seconds(3));
    EXPECT_TRUE(hasFired);
}

TEST(FakeRunLoopDeathTest, EndsTheProcessWhenItIsDestroyedInsideItsOwnBlock) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    auto loop = std::make_unique<FakeRunLoop>();
    loop->post([&loop] { loop.reset(); });
    EXPECT_DEATH(loop->runUntilIdle(), "a run loop was destroyed inside one of its own blocks");
    loop->discardEverything();
}

TEST(FakeClock, GoesWithTheLoopAndCanBeSet) {
    const auto loop = std::make_shared<FakeRunLoop>();
    FakeClock clock(loop);
    EXPECT_EQ(secondsSince1970(clock.now()), FakeClock::kFirstSecondsSince1970);
    loop->advanceBy(milliseconds(1500));
    EXPECT_EQ(secondsSince1970(clock.now()), FakeClock::kFirstSecondsSince1970 + 1.5);
    const auto steady = clock.steadyNow();
    clock.setDate(dateFromSecondsSince1970(1000));
    EXPECT_EQ(secondsSince1970(clock.now()), 1000.0);
    EXPECT_EQ(clock.steadyNow(), steady);
    loop->advanceBy(seconds(1));
    EXPECT_EQ(secondsSince1970(clock.now()), 1001.0);
}

}  // namespace
}  // namespace xel
