// A process that is killed at any moment of its writing, again and again, on one store.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/contract/Homes/HomeOnDisk.h"

namespace xel::contract {
namespace {

/// XELPUSH_STORE_KILLS asks for more.
int killCount() {
    const char* const wanted = std::getenv("XELPUSH_STORE_KILLS");
    return wanted != nullptr ? std::atoi(wanted) : 60;
}

/// What a process has been told was stored, in memory that outlives it.
struct Told {
    std::atomic<int> count = 0;     ///< the setting's last value
    std::atomic<int> appended = 0;  ///< publications, numbered from 1
};

class StoreKillTest : public testing::Test {
protected:
    StoreKillTest()
        : told_(*new (mmap(nullptr, sizeof(Told), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                    Told) {}
    ~StoreKillTest() override { munmap(&told_, sizeof(Told)); }

    /// Never ends by itself.
    [[noreturn]] void writeUntilKilled() {
        const auto home = home_.open();
        if (home.defaults == nullptr) {
            _exit(2);
        }
        for (;;) {
            home.defaults->setObject("count", told_.count + 1);
            const std::string id = "id" + std::to_string(told_.count + 1);
            const std::string_view ids[] = {id};
            home.defaults->appendToArray("messageIds", ids, 25);
            if (!home.defaults->synchronize()) {
                _exit(3);
            }
            ++told_.count;
            const auto number = static_cast<std::uint16_t>(told_.appended % 60'000 + 1);
            if (!home.memory->appendToOutbox("client", {number, "t", std::string(300, 'p'), false})) {
                _exit(4);
            }
            ++told_.appended;
            if (told_.appended % 10 == 0) {
                const std::uint16_t removed[] = {static_cast<std::uint16_t>(number - 9)};
                home.memory->removeFromOutbox("client", removed);
            }
        }
    }

    void expectEverythingThere(int kill) {
        const auto home = home_.open();
        ASSERT_NE(home.defaults, nullptr) << kill;
        ASSERT_TRUE(home_.problems().empty()) << home_.problems().front().localizedDescription();
        const auto count = home.defaults->integerForKey("count");
        ASSERT_GE(count, told_.count) << kill;
        ASSERT_LE(count, told_.count + 1) << kill;
        if (count > 0) {
            const auto ids = home.defaults->arrayForKey("messageIds").value();
            ASSERT_EQ(ids.back(), Value("id" + std::to_string(count)))
                << "a write is there whole, or not at all";
            ASSERT_EQ(ids.size(), static_cast<std::size_t>(std::min<std::int64_t>(count, 25)));
        }
        told_.count = static_cast<int>(count);
        const auto outbox = home.memory->loadOutbox("client").value();
        ASSERT_GE(static_cast<int>(outbox.size()), told_.appended - told_.appended / 10) << kill;
        ASSERT_LE(static_cast<int>(outbox.size()), told_.appended + 1) << kill;
        home.memory->erase("client");
        told_.appended = 0;
    }

    HomeOnDisk home_;
    Told& told_;
};

TEST_F(StoreKillTest, LosesNothingThatAProcessWasToldIsStored) {
    std::mt19937 random(1);
    const int kills = killCount();
    for (int kill = 1; kill <= kills; ++kill) {
        const pid_t child = fork();
        if (child == 0) {
            writeUntilKilled();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
        ::kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the process failed with " << WEXITSTATUS(status);
        ASSERT_NO_FATAL_FAILURE(expectEverythingThere(kill));
    }
}

}  // namespace
}  // namespace xel::contract
