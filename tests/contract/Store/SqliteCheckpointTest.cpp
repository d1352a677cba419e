// The log is carried over behind the caller's back: what fails there holds nobody up.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Process/NoThreads.h"
#include "tests/contract/Store/SqliteHome.h"

namespace xel::contract {
namespace {

/// So far a file of this process can grow.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t octets) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &usual_);
        rlimit limit = usual_;
        limit.rlim_cur = octets;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &usual_); }

private:
    rlimit usual_{};
};

class SqliteCheckpointTest : public testing::Test {
protected:
    static void store(NSUserDefaults& defaults, int times) {
        for (int i = 0; i < times; ++i) {
            defaults.setObject("count", ++count_);
            ASSERT_TRUE(defaults.synchronize()) << count_;
        }
    }

    [[nodiscard]] bool hasReported(std::string_view text) {
        for (const NSError& problem : home_.problems()) {
            if (problem.localizedDescription().find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    SqliteHome home_;
    static inline int count_ = 0;
};

TEST_F(SqliteCheckpointTest, IsTriedAgainWhenNoThreadCouldBeStarted) {
    const auto defaults = home_.openDefaults();
    {
        const NoThreads noThreads;
        store(*defaults, SqliteStore::kFramesBeforeCheckpoint + 1);
        EXPECT_TRUE(hasReported("cannot be carried over"));
    }
    // The log begins anew when it has been carried over, so it never comes to hold so many.
    store(*defaults, SqliteStore::kMostFrames);
    constexpr std::uintmax_t kFrameSize = 24 + 1024;
    EXPECT_LE(std::filesystem::file_size(home_.databasePath() + "-wal"),
              (SqliteStore::kMostFrames + 1) * kFrameSize);
}

TEST_F(SqliteCheckpointTest, LetsCommitsGoOnWhenEvenItsReportFails) {
    constexpr std::size_t kPublications = 12;
    constexpr std::size_t kLarge = 1'000'000;
    {
        const auto memory = home_.openMemory();
        for (std::uint16_t id = 1; id <= kPublications; ++id) {
            ASSERT_TRUE(memory->appendToOutbox("client", {id, "t", std::string(kLarge, 'p'), false}));
        }
    }
    // The database is larger than the log may become, so what was appended to it cannot be carried over.
    std::promise<void> reported;
    auto options = home_.options();
    options.problemHandler = [&, isFirst = true](const NSError& /*problem*/) mutable {
        if (std::exchange(isFirst, false)) {
            reported.set_value();
            throw std::bad_alloc();
        }
    };
    const auto memory = SqliteSessionMemory::load(SqliteStore::open(options).value()).value();
    std::optional<FileSizeLimit> limit(kPublications * kLarge - kLarge / 2);
    const std::string payload(10'000, 'q');
    for (std::uint16_t id = 100; id < 100 + SqliteStore::kFramesBeforeCheckpoint / 10; ++id) {
        ASSERT_TRUE(memory->appendToOutbox("client", {id, "t", payload, false}));
    }
    ASSERT_EQ(reported.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    limit.reset();
    const auto last = std::async(std::launch::async, [&] {
        return memory->appendToOutbox("client", {9000, "t", payload, false}).isOk();
    });
    ASSERT_EQ(last.wait_for(std::chrono::seconds(60)), std::future_status::ready)
        << "it waits for a checkpoint that is over";
}

TEST_F(SqliteCheckpointTest, AnswersATurnWithoutAThreadForItsSyncAndTheNextOneWithIt) {
    const auto loop = std::make_shared<AsioRunLoop>();
    auto options = home_.options();
    options.runLoop = loop;
    options.durability = Durability::PowerCut;
    const auto defaults = SqliteUserDefaults::load(SqliteStore::open(options).value()).value();
    std::vector<bool> answers;
    const auto closeTurn = [&](int turn) {
        defaults->setObject("turn", turn);
        defaults->synchronizeTurn([&](bool isStored) { answers.push_back(isStored); });
    };
    {
        const NoThreads noThreads;
        EXPECT_NO_THROW(closeTurn(1));
        EXPECT_TRUE(answers.empty()) << "never inside the call";
    }
    closeTurn(2);
    ASSERT_TRUE(driveUntil(
        *loop, [&] { return answers.size() == 2; }, std::chrono::seconds(20)));
    EXPECT_EQ(answers, (std::vector<bool>{false, true}));
    EXPECT_TRUE(hasReported("cannot be synced"));
}

/// A loop that finds no memory for so many posts of other threads.
class ForgetfulLoop final : public NSRunLoop {
public:
    ForgetfulLoop(std::shared_ptr<NSRunLoop> loop, int times) : loop_(std::move(loop)), timesLeft_(times) {}

    void post(std::function<void()> block) override {
        if (!isCurrent() && timesLeft_ > 0) {
            --timesLeft_;
            throw std::bad_alloc();
        }
        loop_->post(std::move(block));
    }
    std::shared_ptr<NSTimer> scheduleTimer(std::chrono::milliseconds delay,
                                           std::function<void()> block) override {
        return loop_->scheduleTimer(delay, std::move(block));
    }
    [[nodiscard]] bool isCurrent() const override { return loop_->isCurrent(); }
    void run() override { loop_->run(); }
    void stop() override { loop_->stop(); }

private:
    std::shared_ptr<NSRunLoop> loop_;
    std::atomic<int> timesLeft_;
};

TEST_F(SqliteCheckpointTest, AnswersATurnAlsoWhenThereWasNoMemoryToSaySo) {
    const auto loop = std::make_shared<AsioRunLoop>();
    auto options = home_.options();
    options.runLoop = std::make_shared<ForgetfulLoop>(loop, 3);
    options.durability = Durability::PowerCut;
    const auto defaults = SqliteUserDefaults::load(SqliteStore::open(options).value()).value();
    std::vector<bool> answers;
    for (int turn = 1; turn <= 2; ++turn) {
        defaults->setObject("turn", turn);
        defaults->synchronizeTurn([&](bool isStored) { answers.push_back(isStored); });
    }
    ASSERT_TRUE(driveUntil(
        *loop, [&] { return answers.size() == 2; }, std::chrono::seconds(20)));
    EXPECT_EQ(answers, (std::vector<bool>{true, true}));
}

}  // namespace
}  // namespace xel::contract
