// The journal is carried over, and synced, behind the caller's back: what fails there holds nobody up.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Store/StoreJournal.h"
#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Process/NoThreads.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

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

class StoreCarryingTest : public testing::Test {
protected:
    /// Writes a run of the journal, and some more.
    void writeARun(NSUserDefaults& defaults) {
        const std::string large(1'000'000, 'x');
        for (std::uint64_t octets = 0; octets <= StoreJournal::kRunLength; octets += large.size()) {
            defaults.setObject("large", large + std::to_string(++count_));
            ASSERT_TRUE(defaults.synchronize()) << count_;
        }
    }

    [[nodiscard]] std::uintmax_t longestJournal() {
        std::uintmax_t longest = 0;
        for (const char* const file : {".journal", ".journal-2"}) {
            longest = std::max(longest, std::filesystem::file_size(home_.basePath() + file));
        }
        return longest;
    }

    [[nodiscard]] bool hasReported(std::string_view text) {
        for (const NSError& problem : home_.problems()) {
            if (problem.localizedDescription().find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    HomeOnDisk home_;
    int count_ = 0;
};

TEST_F(StoreCarryingTest, IsTriedAgainWhenNoThreadCouldBeStarted) {
    const auto defaults = home_.open().defaults;
    {
        const NoThreads noThreads;
        writeARun(*defaults);
        writeARun(*defaults);
        EXPECT_TRUE(hasReported("cannot be carried over"));
    }
    std::this_thread::sleep_for(1100ms);
    for (int run = 0; run < 6; ++run) {
        writeARun(*defaults);
    }
    EXPECT_LE(longestJournal(), 5 * StoreJournal::kRunLength)
        << "a file is used again once it was carried over";
}

TEST_F(StoreCarryingTest, LetsWritesGoOnWhenEvenItsReportFails) {
    constexpr std::uint64_t kDatabase = 3 * StoreJournal::kRunLength;
    constexpr std::size_t kLarge = 1'000'000;
    {
        const auto memory = home_.open().memory;
        for (std::uint16_t id = 1; id <= kDatabase / kLarge; ++id) {
            ASSERT_TRUE(memory->appendToOutbox("client", {id, "t", std::string(kLarge, 'p'), false}));
        }
    }
    // The database is larger than a file may become, so what is in the journal cannot be carried over.
    std::promise<void> reported;
    auto options = home_.options();
    options.problemHandler = [&, isFirst = true](const NSError& /*problem*/) mutable {
        if (std::exchange(isFirst, false)) {
            reported.set_value();
            throw std::bad_alloc();
        }
    };
    const auto memory = HomeOnDisk::open(options).memory;
    std::optional<FileSizeLimit> limit(kDatabase - kLarge);
    for (std::uint16_t id = 1000; id < 1000 + StoreJournal::kRunLength / kLarge + 2; ++id) {
        ASSERT_TRUE(memory->appendToOutbox("client", {id, "t", std::string(kLarge, 'q'), false}));
    }
    ASSERT_EQ(reported.get_future().wait_for(60s), std::future_status::ready);
    limit.reset();
    const auto last = std::async(std::launch::async, [&] {
        return memory->appendToOutbox("client", {9000, "t", "last", false}).isOk();
    });
    ASSERT_EQ(last.wait_for(60s), std::future_status::ready) << "it waits for a carrying over that has ended";
    EXPECT_EQ(memory->loadOutbox("client").value().back().packetId, 9000);
}

TEST_F(StoreCarryingTest, AnswersATurnWithoutAThreadForItsSyncAndTheNextOneWithIt) {
    const auto loop = std::make_shared<AsioRunLoop>();
    auto options = home_.options();
    options.runLoop = loop;
    options.durability = Durability::PowerCut;
    const auto defaults = HomeOnDisk::open(options).defaults;
    std::vector<bool> answers;
    const auto endTurn = [&](int turn) {
        defaults->setObject("turn", turn);
        defaults->synchronizeTurn([&](bool isStored) { answers.push_back(isStored); });
    };
    {
        const NoThreads noThreads;
        EXPECT_NO_THROW(endTurn(1));
        EXPECT_TRUE(answers.empty()) << "never inside the call";
    }
    endTurn(2);
    ASSERT_TRUE(driveUntil(
        *loop, [&] { return answers.size() == 2; }, 20s));
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

TEST_F(StoreCarryingTest, AnswersATurnAlsoWhenThereWasNoMemoryToSaySo) {
    const auto loop = std::make_shared<AsioRunLoop>();
    auto options = home_.options();
    options.runLoop = std::make_shared<ForgetfulLoop>(loop, 3);
    options.durability = Durability::PowerCut;
    const auto defaults = HomeOnDisk::open(options).defaults;
    std::vector<bool> answers;
    for (int turn = 1; turn <= 2; ++turn) {
        defaults->setObject("turn", turn);
        defaults->synchronizeTurn([&](bool isStored) { answers.push_back(isStored); });
    }
    ASSERT_TRUE(driveUntil(
        *loop, [&] { return answers.size() == 2; }, 20s));
    EXPECT_EQ(answers, (std::vector<bool>{true, true}));
}

}  // namespace
}  // namespace xel::contract
