#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/AsioOperationQueue.h"

namespace xel {
namespace {

TEST(AsioOperationQueue, RefusesACountThatIsNone) {
    for (const int count : {0, -2}) {
        EXPECT_THROW(AsioOperationQueue("queue", count), std::invalid_argument) << count;
    }
}

TEST(AsioOperationQueue, MayBeDroppedByItsOwnOperation) {
    auto queue = std::make_shared<AsioOperationQueue>("queue", 1);
    std::promise<void> added;
    std::promise<void> done;
    AsioOperationQueue& reference = *queue;
    reference.addOperationWithBlock(
        [&done, mayGo = added.get_future().share(), queue = std::move(queue)]() mutable {
            mayGo.wait();
            queue.reset();
            done.set_value();
        });
    added.set_value();
    done.get_future().wait();
}

TEST(AsioOperationQueue, RunsAsManyOperationsAtATimeAsItWasTold) {
    AsioOperationQueue queue("queue", 2);
    std::promise<void> first;
    std::promise<void> second;
    std::promise<void> bothDone;
    std::atomic<int> done = 0;
    const auto finish = [&] {
        if (++done == 2) {
            bothDone.set_value();
        }
    };
    // Each waits for the other: one at a time would wait for ever.
    queue.addOperationWithBlock([&] {
        first.set_value();
        second.get_future().wait();
        finish();
    });
    queue.addOperationWithBlock([&] {
        second.set_value();
        first.get_future().wait();
        finish();
    });
    EXPECT_EQ(bothDone.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

TEST(AsioOperationQueueDeathTest, EndsTheProcessWhenAnOperationThrows) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            AsioOperationQueue queue("queue", 1);
            std::promise<void> never;
            queue.addOperationWithBlock([] { throw std::runtime_error("left an operation"); });
            never.get_future().wait();
        },
        "left an operation|terminate");
}

}  // namespace
}  // namespace xel
