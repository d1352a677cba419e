#include <chrono>
#include <thread>

#include <gtest/gtest.h>
#include <poll.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Network/NameLookup.h"

namespace xel {
namespace {

using std::chrono::milliseconds;

class SteppedRunLoop : public ::testing::Test {
protected:
    bool isReadable(milliseconds patience = milliseconds::zero()) {
        pollfd waiting{loop_.fileDescriptor(), POLLIN, 0};
        return ::poll(&waiting, 1, static_cast<int>(patience.count())) > 0;
    }

    /// Steps for as long as the descriptor tells of something.
    void stepUntilQuiet() {
        while (isReadable()) {
            loop_.step();
        }
    }

    static constexpr milliseconds kLong{20'000};

    AsioRunLoop loop_;
};

TEST_F(SteppedRunLoop, IsReadableForAPostedBlockAndQuietAfterwards) {
    stepUntilQuiet();
    int runs = 0;
    loop_.post([&] { ++runs; });
    EXPECT_TRUE(isReadable());
    stepUntilQuiet();
    EXPECT_EQ(runs, 1);
    EXPECT_FALSE(isReadable(milliseconds(5)));
}

TEST_F(SteppedRunLoop, TellsOfABlockThatWasPostedBeforeTheDescriptorWasAskedFor) {
    bool isRun = false;
    loop_.post([&] { isRun = true; });
    ASSERT_TRUE(isReadable(kLong));
    stepUntilQuiet();
    EXPECT_TRUE(isRun);
}

TEST_F(SteppedRunLoop, TellsOfABlockThatAnotherThreadPosts) {
    stepUntilQuiet();
    bool isRun = false;
    std::thread other([&] { loop_.post([&] { isRun = true; }); });
    EXPECT_TRUE(isReadable(kLong));
    other.join();
    stepUntilQuiet();
    EXPECT_TRUE(isRun);
}

TEST_F(SteppedRunLoop, TellsOfATimerAndOfItsDeadline) {
    stepUntilQuiet();
    EXPECT_FALSE(loop_.nextDeadline());
    bool isFired = false;
    const auto before = std::chrono::steady_clock::now();
    const auto late = loop_.scheduleTimer(milliseconds(60'000), [] {});
    loop_.scheduleTimer(milliseconds(20), [&] { isFired = true; });
    ASSERT_TRUE(loop_.nextDeadline());
    EXPECT_GE(*loop_.nextDeadline(), before + milliseconds(20));
    EXPECT_LT(*loop_.nextDeadline(), before + milliseconds(60'000));
    while (!isFired) {
        ASSERT_TRUE(isReadable(kLong));
        loop_.step();
    }
    EXPECT_GE(std::chrono::steady_clock::now(), before + milliseconds(20));
    late->invalidate();
    EXPECT_FALSE(loop_.nextDeadline());
}

TEST_F(SteppedRunLoop, ReturnsFromAStepAlthoughTheLoopKeepsItselfBusy) {
    int runs = 0;
    std::function<void()> again = [&] {
        ++runs;
        loop_.post(again);
    };
    loop_.post(again);
    ASSERT_TRUE(isReadable(kLong));
    loop_.step();
    const int runsInFirst = runs;
    EXPECT_GT(runsInFirst, 0);
    EXPECT_TRUE(isReadable());
    loop_.step();
    EXPECT_GT(runs, runsInFirst);
}

TEST_F(SteppedRunLoop, GoesOnAfterABlockThatThrew) {
    stepUntilQuiet();
    bool isRun = false;
    loop_.post([] { throw std::runtime_error("host"); });
    loop_.post([&] { isRun = true; });
    const auto stepAll = [&] { stepUntilQuiet(); };
    EXPECT_THROW(stepAll(), std::runtime_error);
    EXPECT_TRUE(isReadable());
    stepUntilQuiet();
    EXPECT_TRUE(isRun);
}

TEST_F(SteppedRunLoop, TellsOfANameThatWasLookedUp) {
    stepUntilQuiet();
    bool isAnswered = false;
    NameLookup::shared().ask(loop_.core(), "localhost", [&](const NameLookupAnswer& answer) {
        isAnswered = true;
        EXPECT_EQ(answer.failure, "");
        EXPECT_FALSE(answer.addresses.empty());
    });
    while (!isAnswered) {
        ASSERT_TRUE(isReadable(kLong));
        loop_.step();
    }
}

}  // namespace
}  // namespace xel
