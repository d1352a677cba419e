#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSOperationQueue.h"

namespace xel::contract {

/// What every operation queue owes. A subject is default constructible and has
///     NSOperationQueueFactory& factory();
///     bool runUntil(std::function<bool()> done);  // lets operations run until done; false: it never was
template <class Subject>
class NSOperationQueueContract : public ::testing::Test {
protected:
    [[nodiscard]] std::shared_ptr<NSOperationQueue> makeQueue(int most) {
        return subject_.factory().makeOperationQueue("com.xel.test", most);
    }

    Subject subject_;
};

TYPED_TEST_SUITE_P(NSOperationQueueContract);

TYPED_TEST_P(NSOperationQueueContract, TellsItsNameAndWidth) {
    const auto queue = this->makeQueue(NSOperationQueue::kDefaultMaxConcurrentOperationCount);
    EXPECT_EQ(queue->name(), "com.xel.test");
    EXPECT_EQ(queue->maxConcurrentOperationCount(), -1);
    EXPECT_EQ(this->makeQueue(1)->maxConcurrentOperationCount(), 1);
}

TYPED_TEST_P(NSOperationQueueContract, NeverRunsAnOperationOnTheCallersThread) {
    const auto queue = this->makeQueue(-1);
    std::atomic<bool> hasRun = false;
    std::atomic<bool> ranHere = false;
    queue->addOperationWithBlock([&, caller = std::this_thread::get_id()] {
        ranHere = std::this_thread::get_id() == caller;
        hasRun = true;
    });
    EXPECT_TRUE(this->subject_.runUntil([&] { return hasRun.load(); }));
    EXPECT_FALSE(ranHere);
}

TYPED_TEST_P(NSOperationQueueContract, RunsASerialQueueInOrderOneAtATime) {
    const auto queue = this->makeQueue(1);
    std::mutex mutex;
    std::vector<int> order;
    std::atomic<int> running = 0;
    std::atomic<bool> overlapped = false;
    for (int i = 0; i < 50; ++i) {
        queue->addOperationWithBlock([&, i] {
            if (running.fetch_add(1) != 0) {
                overlapped = true;
            }
            {
                const std::lock_guard lock(mutex);
                order.push_back(i);
            }
            running.fetch_sub(1);
        });
    }
    EXPECT_TRUE(this->subject_.runUntil([&] {
        const std::lock_guard lock(mutex);
        return order.size() == 50;
    }));
    EXPECT_FALSE(overlapped);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    }
}

TYPED_TEST_P(NSOperationQueueContract, RunsEveryOperationOfAWideQueueAlsoThoseAddedInside) {
    const auto queue = this->makeQueue(-1);
    std::atomic<int> count = 0;
    for (int i = 0; i < 20; ++i) {
        queue->addOperationWithBlock([&] {
            ++count;
            queue->addOperationWithBlock([&] { ++count; });
        });
    }
    EXPECT_TRUE(this->subject_.runUntil([&] { return count == 40; }));
}

TYPED_TEST_P(NSOperationQueueContract, LeavesNothingRunningWhenItIsDropped) {
    const auto alive = std::make_shared<int>(0);
    auto queue = this->makeQueue(1);
    for (int i = 0; i < 10; ++i) {
        queue->addOperationWithBlock([alive] { static_cast<void>(alive.use_count()); });
    }
    queue.reset();
    EXPECT_EQ(alive.use_count(), 1) << "an operation is still held";
}

REGISTER_TYPED_TEST_SUITE_P(NSOperationQueueContract, TellsItsNameAndWidth,
                            NeverRunsAnOperationOnTheCallersThread, RunsASerialQueueInOrderOneAtATime,
                            RunsEveryOperationOfAWideQueueAlsoThoseAddedInside,
                            LeavesNothingRunningWhenItIsDropped);

}  // namespace xel::contract
