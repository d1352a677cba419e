#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Application/RemoteNotificationQueue.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/RecordingLogSink.h"

namespace xel {
namespace {

struct Takers final : RemoteNotificationTakers {
    [[nodiscard]] bool isAnyoneThere() const override { return isThere; }
    void take(const Dictionary& payload) override {
        numbers.push_back(*payload.find("number")->asInteger());
        if (whenTaken) {
            whenTaken();
        }
    }

    bool isThere = true;
    std::vector<std::int64_t> numbers;
    std::function<void()> whenTaken;
};

class RemoteNotificationQueueTest : public testing::Test {
protected:
    void add(std::int64_t number) { queue_->add({{"number", number}}); }

    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<RecordingLogSink> log_ = std::make_shared<RecordingLogSink>();
    Takers takers_;
    std::shared_ptr<RemoteNotificationQueue> queue_ =
        std::make_shared<RemoteNotificationQueue>(3, runLoop_, log_, takers_);
};

using Numbers = std::vector<std::int64_t>;

TEST_F(RemoteNotificationQueueTest, TellsLaterAndInOrder) {
    add(1);
    add(2);
    EXPECT_EQ(takers_.numbers, Numbers{});
    runLoop_->runUntilIdle();
    EXPECT_EQ(takers_.numbers, (Numbers{1, 2}));
}

TEST_F(RemoteNotificationQueueTest, KeepsWhatComesWhileNobodyIsThere) {
    takers_.isThere = false;
    add(1);
    add(2);
    runLoop_->runUntilIdle();
    EXPECT_EQ(takers_.numbers, Numbers{});
    takers_.isThere = true;
    queue_->tellLater();
    queue_->tellLater();
    EXPECT_EQ(takers_.numbers, Numbers{}) << "never from inside";
    runLoop_->runUntilIdle();
    EXPECT_EQ(takers_.numbers, (Numbers{1, 2})) << "each once";
}

TEST_F(RemoteNotificationQueueTest, DropsTheOldestBeyondWhatItKeeps) {
    takers_.isThere = false;
    for (std::int64_t number = 1; number <= 5; ++number) {
        add(number);
    }
    EXPECT_EQ(log_->lines().size(), 2U);
    takers_.isThere = true;
    runLoop_->runUntilIdle();
    EXPECT_EQ(takers_.numbers, (Numbers{3, 4, 5}));
}

TEST_F(RemoteNotificationQueueTest, LosesNoneToATakerThatThrows) {
    takers_.whenTaken = [] { throw std::runtime_error("not now"); };
    takers_.isThere = false;
    add(1);
    add(2);
    runLoop_->runUntilIdle();
    takers_.isThere = true;
    queue_->tellLater();
    EXPECT_THROW(runLoop_->runUntilIdle(), std::runtime_error);
    takers_.whenTaken = nullptr;
    runLoop_->runUntilIdle();
    EXPECT_EQ(takers_.numbers, (Numbers{1, 2}));
}

TEST_F(RemoteNotificationQueueTest, MayBeDroppedByATaker) {
    takers_.whenTaken = [this] { queue_.reset(); };
    add(1);
    add(2);
    runLoop_->runUntilIdle();
    EXPECT_EQ(takers_.numbers, Numbers{1});
}

}  // namespace
}  // namespace xel
