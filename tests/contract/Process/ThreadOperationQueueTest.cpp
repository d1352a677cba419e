#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Process/ThreadOperationQueue.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/contract/Process/NoThreads.h"

namespace xel {
namespace {

TEST(ThreadOperationQueue, RefusesACountThatIsNone) {
    for (const int count : {0, -2}) {
        EXPECT_THROW(ThreadOperationQueue("queue", count), std::invalid_argument) << count;
    }
}

/// Drops its queue when it goes itself, and says whether the queue has gone then.
struct LastHolder {
    std::shared_ptr<ThreadOperationQueue> queue = std::make_shared<ThreadOperationQueue>("queue", 1);
    std::promise<bool> isGone;

    LastHolder() = default;
    LastHolder(const LastHolder&) = delete;
    LastHolder& operator=(const LastHolder&) = delete;
    ~LastHolder() {
        const std::weak_ptr<ThreadOperationQueue> dropped = queue;
        queue.reset();
        isGone.set_value(dropped.expired());
    }
};

TEST(ThreadOperationQueue, MayBeDroppedByItsOwnOperation) {
    for (const bool isHeldToItsEnd : {false, true}) {
        auto holder = std::make_shared<LastHolder>();
        ThreadOperationQueue& queue = *holder->queue;
        auto isGone = holder->isGone.get_future();
        std::promise<void> mayBegin;
        queue.addOperationWithBlock(
            [isHeldToItsEnd, begin = mayBegin.get_future().share(), holder = std::move(holder)]() mutable {
                begin.wait();
                if (!isHeldToItsEnd) {
                    holder.reset();
                }
            });
        const auto hasRun = std::make_shared<std::atomic<bool>>(false);
        queue.addOperationWithBlock([hasRun] { *hasRun = true; });
        mayBegin.set_value();
        ASSERT_EQ(isGone.wait_for(std::chrono::seconds(20)), std::future_status::ready)
            << "the queue waits for the operation that drops it";
        EXPECT_TRUE(isGone.get());
        EXPECT_EQ(hasRun.use_count(), 1) << "what had not started is dropped with it";
        EXPECT_FALSE(*hasRun);
    }
}

TEST(ThreadOperationQueue, LogsAnOperationThatThrowsAndGoesOn) {
    const auto log = std::make_shared<RecordingLogSink>();
    ThreadOperationQueue queue("queue", 1, log);
    queue.addOperationWithBlock([] { throw std::bad_alloc(); });
    std::promise<void> done;
    queue.addOperationWithBlock([&done] { done.set_value(); });
    done.get_future().wait();
    ASSERT_EQ(log->lines().size(), 1U);
    EXPECT_EQ(log->lines().front(), "An operation of the queue \"queue\" has failed: std::bad_alloc");
}

TEST(ThreadOperationQueue, KeepsNoOperationThatItRefusedForWantOfAThread) {
    ThreadOperationQueue queue("queue", 1);
    const auto hasRun = std::make_shared<std::atomic<bool>>(false);
    {
        const contract::NoThreads noThreads;
        EXPECT_THROW(queue.addOperationWithBlock([hasRun] { *hasRun = true; }), std::system_error);
    }
    EXPECT_EQ(hasRun.use_count(), 1);
    std::promise<void> done;
    queue.addOperationWithBlock([&done] { done.set_value(); });
    done.get_future().wait();
    EXPECT_FALSE(*hasRun);
}

TEST(ThreadOperationQueue, HasAThreadThatRunsTakeWhatNoOtherCanBeStartedFor) {
    ThreadOperationQueue queue("queue", 2);
    std::promise<void> hasBegun;
    std::promise<void> mayEnd;
    queue.addOperationWithBlock([&] {
        hasBegun.set_value();
        mayEnd.get_future().wait();
    });
    hasBegun.get_future().wait();
    std::promise<void> done;
    {
        const contract::NoThreads noThreads;
        EXPECT_NO_THROW(queue.addOperationWithBlock([&done] { done.set_value(); }));
    }
    mayEnd.set_value();
    EXPECT_EQ(done.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

TEST(ThreadOperationQueue, RunsAsManyOperationsAtATimeAsItWasTold) {
    ThreadOperationQueue queue("queue", 2);
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

/// The threads of this process that run operations; a sanitizer has threads of its own.
std::size_t threadCount() {
    std::size_t count = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(thread.path() / "comm"), name);
        count += name == "xel-operations" ? 1 : 0;
    }
    return count;
}

TEST(ThreadOperationQueue, KeepsNoThreadWhileThereIsNoWork) {
    ThreadOperationQueue queue("queue", 4);
    std::promise<void> mayEnd;
    std::promise<void> hasBegun;
    queue.addOperationWithBlock([&, end = mayEnd.get_future().share()] {
        hasBegun.set_value();
        end.wait();
    });
    hasBegun.get_future().wait();
    EXPECT_EQ(threadCount(), 1U);
    mayEnd.set_value();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (threadCount() > 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_EQ(threadCount(), 0U);
}

}  // namespace
}  // namespace xel
