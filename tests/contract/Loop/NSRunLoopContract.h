#pragma once

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel::contract {

/// What every run loop owes. A subject is default constructible and has
///     NSRunLoop& loop();   // a new loop, made on this thread, that has not run yet
template <class Subject>
class NSRunLoopContract : public ::testing::Test {
protected:
    NSRunLoop& loop() { return subject_.loop(); }

    void note(std::string what) { notes_.push_back(std::move(what)); }
    [[nodiscard]] std::function<void()> noting(std::string what) {
        return [this, what] { note(what); };
    }

    /// Runs what is posted so far and returns.
    void runPosted() {
        loop().post([this] { loop().stop(); });
        loop().run();
    }

    /// Runs until a timer of that delay has fired: everything due before has run by then.
    void runFor(std::chrono::milliseconds delay) {
        loop().scheduleTimer(delay, [this] { loop().stop(); });
        loop().run();
    }

    using Notes = std::vector<std::string>;

    Subject subject_;
    Notes notes_;
};

TYPED_TEST_SUITE_P(NSRunLoopContract);

TYPED_TEST_P(NSRunLoopContract, RunsBlocksInTheOrderOfPosting) {
    this->loop().post(this->noting("first"));
    this->loop().post(this->noting("second"));
    this->loop().post(this->noting("third"));
    this->runPosted();
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"first", "second", "third"}));
}

TYPED_TEST_P(NSRunLoopContract, NeverRunsABlockInsidePost) {
    this->loop().post(this->noting("before run"));
    EXPECT_TRUE(this->notes_.empty());
    this->loop().post([this] {
        this->loop().post(this->noting("inner"));
        this->note("outer");
    });
    this->runPosted();
    this->runPosted();
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"before run", "outer", "inner"}));
}

TYPED_TEST_P(NSRunLoopContract, ThrowsOutOfRunWhatABlockThrowsAndKeepsTheRest) {
    this->loop().post(this->noting("before"));
    this->loop().post([] { throw std::runtime_error("a host's mistake"); });
    this->loop().post(this->noting("behind"));
    EXPECT_THROW(this->loop().run(), std::runtime_error);
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"before"}));
    this->runPosted();
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"before", "behind"}));
}

TYPED_TEST_P(NSRunLoopContract, ThrowsOutOfRunWhatATimerThrowsAndKeepsTheOthers) {
    using std::chrono::milliseconds;
    this->loop().scheduleTimer(milliseconds(1), [] { throw std::runtime_error("a timer's mistake"); });
    this->loop().scheduleTimer(milliseconds(2), this->noting("later timer"));
    EXPECT_THROW(this->loop().run(), std::runtime_error);
    EXPECT_TRUE(this->notes_.empty());
    this->runFor(milliseconds(10));
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"later timer"}));
}

TYPED_TEST_P(NSRunLoopContract, RunsWhatOtherThreadsPostOnItsOwnThread) {
    std::thread::id ranOn;
    std::atomic<bool> wasCurrentElsewhere = true;
    std::atomic<bool> wasCurrentInside = false;
    this->loop().post([&] {
        std::thread poster([&] {
            wasCurrentElsewhere = this->loop().isCurrent();
            this->loop().post([&] {
                ranOn = std::this_thread::get_id();
                wasCurrentInside = this->loop().isCurrent();
                this->loop().stop();
            });
        });
        poster.join();
    });
    this->loop().run();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    EXPECT_FALSE(wasCurrentElsewhere);
    EXPECT_TRUE(wasCurrentInside);
}

TYPED_TEST_P(NSRunLoopContract, IsCurrentBeforeItRunsOnTheThreadThatMadeIt) {
    EXPECT_TRUE(this->loop().isCurrent());
    bool isCurrentElsewhere = true;
    std::thread other([&] { isCurrentElsewhere = this->loop().isCurrent(); });
    other.join();
    EXPECT_FALSE(isCurrentElsewhere);
}

TYPED_TEST_P(NSRunLoopContract, FiresTimersByDeadlineAndEqualOnesInTheOrderOfScheduling) {
    using std::chrono::milliseconds;
    // So much later that the deadlines stay in this order on a machine that holds the test up in between.
    this->loop().scheduleTimer(milliseconds(500), this->noting("late"));
    this->loop().scheduleTimer(milliseconds(4), this->noting("early"));
    this->loop().scheduleTimer(milliseconds(0), this->noting("at once"));
    this->runFor(milliseconds(510));
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"at once", "early", "late"}));
    this->notes_.clear();
    std::vector<std::string> expected;
    for (int i = 0; i < 5; ++i) {
        expected.push_back(std::to_string(i));
        this->loop().scheduleTimer(milliseconds(5), this->noting(expected.back()));
    }
    this->runFor(milliseconds(20));
    EXPECT_EQ(this->notes_, expected);
}

TYPED_TEST_P(NSRunLoopContract, FiresATimerOnceThoughItsHandleWasDropped) {
    using std::chrono::milliseconds;
    static_cast<void>(this->loop().scheduleTimer(milliseconds(1), this->noting("fired")));
    this->runFor(milliseconds(20));
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"fired"}));
}

TYPED_TEST_P(NSRunLoopContract, NeverFiresAnInvalidatedTimer) {
    using std::chrono::milliseconds;
    const auto before = this->loop().scheduleTimer(milliseconds(1), this->noting("invalidated before run"));
    ASSERT_NE(before, nullptr);
    EXPECT_TRUE(before->isValid());
    before->invalidate();
    EXPECT_FALSE(before->isValid());
    before->invalidate();
    const auto inside = this->loop().scheduleTimer(milliseconds(5), this->noting("invalidated inside"));
    this->loop().scheduleTimer(milliseconds(5), this->noting("kept"));
    this->loop().post([inside] { inside->invalidate(); });
    this->runFor(milliseconds(20));
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"kept"}));
}

TYPED_TEST_P(NSRunLoopContract, DoesNotFireADueTimerThatABlockBeforeItInvalidated) {
    using std::chrono::milliseconds;
    const auto second = std::make_shared<std::shared_ptr<NSTimer>>();
    this->loop().scheduleTimer(milliseconds(5), [this, second] {
        this->note("first");
        (*second)->invalidate();
    });
    *second = this->loop().scheduleTimer(milliseconds(5), this->noting("second"));
    this->runFor(milliseconds(20));
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"first"}));
}

TYPED_TEST_P(NSRunLoopContract, SpendsATimerBeforeItsBlockRuns) {
    using std::chrono::milliseconds;
    const auto handle = std::make_shared<std::shared_ptr<NSTimer>>();
    bool wasValidInside = true;
    *handle = this->loop().scheduleTimer(milliseconds(1), [&, handle] {
        wasValidInside = (*handle)->isValid();
        (*handle)->invalidate();
        this->note("fired");
    });
    this->runFor(milliseconds(20));
    EXPECT_FALSE(wasValidInside);
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"fired"}));
    EXPECT_FALSE((*handle)->isValid());
}

TYPED_TEST_P(NSRunLoopContract, ReturnsAtOnceFromTheNextRunWhenStoppedBefore) {
    this->loop().stop();
    this->loop().post(this->noting("stays"));
    this->loop().run();
    EXPECT_TRUE(this->notes_.empty());
    this->runPosted();
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"stays"}));
}

TYPED_TEST_P(NSRunLoopContract, ReturnsAfterTheBlockThatStopsItAndKeepsTheRest) {
    this->loop().post([this] {
        this->loop().stop();
        this->note("stopping");
    });
    this->loop().post(this->noting("behind"));
    this->loop().run();
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"stopping"}));
    this->runPosted();
    EXPECT_EQ(this->notes_, (typename TestFixture::Notes{"stopping", "behind"}));
}

TYPED_TEST_P(NSRunLoopContract, CanBeStoppedFromAnotherThread) {
    std::thread stopper;
    this->loop().post([&] { stopper = std::thread([this] { this->loop().stop(); }); });
    this->loop().run();
    stopper.join();
    SUCCEED() << "run returned";
}

REGISTER_TYPED_TEST_SUITE_P(NSRunLoopContract, RunsBlocksInTheOrderOfPosting, NeverRunsABlockInsidePost,
                            ThrowsOutOfRunWhatABlockThrowsAndKeepsTheRest,
                            ThrowsOutOfRunWhatATimerThrowsAndKeepsTheOthers,
                            RunsWhatOtherThreadsPostOnItsOwnThread,
                            IsCurrentBeforeItRunsOnTheThreadThatMadeIt,
                            FiresTimersByDeadlineAndEqualOnesInTheOrderOfScheduling,
                            FiresATimerOnceThoughItsHandleWasDropped, NeverFiresAnInvalidatedTimer,
                            DoesNotFireADueTimerThatABlockBeforeItInvalidated, SpendsATimerBeforeItsBlockRuns,
                            ReturnsAtOnceFromTheNextRunWhenStoppedBefore,
                            ReturnsAfterTheBlockThatStopsItAndKeepsTheRest, CanBeStoppedFromAnotherThread);

}  // namespace xel::contract
