#include <chrono>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Loop/AsioLoopTimers.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

/// Fires in the handler of the alarm, as a loop's pass does.
struct TimersOwner final : AsioLoopTimersOwner {
    void alarmDidRing() override { timers->fireDue(); }
    void timerDidFire() override { ++fired; }
    [[nodiscard]] bool mayFireAnother() const override { return fired < mostFired; }

    std::shared_ptr<AsioLoopTimers> timers;
    int fired = 0;
    int mostFired = 1000;
};

class AsioLoopTimersTest : public ::testing::Test {
protected:
    AsioLoopTimersTest() { owner_->timers = std::make_shared<AsioLoopTimers>(context_, owner_); }
    ~AsioLoopTimersTest() override { owner_->timers.reset(); }

    std::shared_ptr<NSTimer> schedule(std::chrono::milliseconds delay, int number) {
        return owner_->timers->schedule(delay, [this, number] { order_.push_back(number); });
    }

    /// Runs until no alarm is set any more. Tells how many times one was set: each of them ends in a handler,
    /// also the one that another takes the place of.
    std::size_t run() {
        context_.restart();
        return context_.run();
    }

    boost::asio::io_context context_{1};
    std::shared_ptr<TimersOwner> owner_ = std::make_shared<TimersOwner>();
    std::vector<int> order_;
};

TEST_F(AsioLoopTimersTest, FireInTheOrderOfTheirDeadlines) {
    (void)schedule(4ms, 3);
    (void)schedule(0ms, 1);
    (void)schedule(2ms, 2);
    (void)schedule(-5ms, 1);
    run();
    EXPECT_EQ(order_, (std::vector<int>{1, 1, 2, 3}));
}

TEST_F(AsioLoopTimersTest, DoNotFireOnceInvalidated) {
    const auto first = schedule(1ms, 1);
    (void)schedule(2ms, 2);
    first->invalidate();
    EXPECT_FALSE(first->isValid());
    run();
    EXPECT_EQ(order_, std::vector<int>{2});
}

TEST_F(AsioLoopTimersTest, TellTheNextDeadlineOfThoseThatAreValid) {
    EXPECT_FALSE(owner_->timers->nextDeadline());
    const auto before = std::chrono::steady_clock::now();
    const auto soon = schedule(1h, 1);
    (void)schedule(2h, 2);
    soon->invalidate();
    const auto next = owner_->timers->nextDeadline();
    ASSERT_TRUE(next);
    EXPECT_GE(*next - before, 2h);
    EXPECT_LT(*next - before, 3h);
}

TEST_F(AsioLoopTimersTest, SetNoAlarmForADeadlineThatIsMovedBack) {
    auto timer = schedule(1ms, 0);
    for (int moved = 1; moved <= 200; ++moved) {
        timer->invalidate();
        timer = schedule(2ms, moved);
    }
    EXPECT_LE(run(), 2U) << "for the first deadline, and for the last one";
    EXPECT_EQ(order_, std::vector<int>{200});
}

TEST_F(AsioLoopTimersTest, WaitForAnotherPassWhereTheOwnerLetsNoOtherFire) {
    owner_->mostFired = 1;
    (void)schedule(0ms, 1);
    (void)schedule(0ms, 2);
    context_.run_one();
    EXPECT_EQ(order_, std::vector<int>{1});
    owner_->mostFired = 2;
    run();
    EXPECT_EQ(order_, (std::vector<int>{1, 2}));
}

TEST_F(AsioLoopTimersTest, StayScheduledBehindABlockThatThrows) {
    (void)owner_->timers->schedule(0ms, [] { throw std::runtime_error("not now"); });
    (void)schedule(0ms, 2);
    EXPECT_THROW(run(), std::runtime_error);
    run();
    EXPECT_EQ(order_, std::vector<int>{2});
}

TEST_F(AsioLoopTimersTest, KeepNothingOnceStopped) {
    (void)schedule(0ms, 1);
    owner_->timers->stop();
    EXPECT_TRUE(owner_->timers->discard());
    (void)schedule(0ms, 2);
    EXPECT_FALSE(owner_->timers->discard());
    run();
    EXPECT_EQ(order_, std::vector<int>{});
}

TEST_F(AsioLoopTimersTest, MayBeInvalidatedWhenTheLoopIsGone) {
    const auto timer = schedule(1h, 1);
    owner_->timers.reset();
    timer->invalidate();
    EXPECT_FALSE(timer->isValid());
}

}  // namespace
}  // namespace xel::contract
