#include <atomic>
#include <csignal>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreJournal.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"
#include "tests/contract/Homes/FilledStoreTest.h"
#include "tests/contract/Process/ChildOfTest.h"
#include "tests/contract/Store/FileMode.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;

class HomeStoreTest : public FilledStoreTest {};

TEST_F(HomeStoreTest, KeepsOthersOut) {
    fillAndDie();
    EXPECT_EQ(modeOf(home_.options().folder), 0700U);
    for (const char* const file : {".db", ".journal", ".journal-2", ".lock"}) {
        EXPECT_EQ(modeOf(home_.basePath() + file), 0600U) << file;
    }
}

TEST_F(HomeStoreTest, IsTheDatabaseAloneOnceItIsClosed) {
    fill();
    std::set<std::string> files;
    for (const auto& entry : fs::directory_iterator(home_.options().folder)) {
        files.insert(entry.path().filename());
    }
    EXPECT_EQ(files, (std::set<std::string>{"home.db", "home.lock"}));
    // What another program finds in it.
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open_v2(home_.databasePath().c_str(), &database, SQLITE_OPEN_READONLY, nullptr),
              SQLITE_OK);
    SqliteStatement counts;
    ASSERT_EQ(counts.prepare(database,
                             "SELECT (SELECT count(*) FROM defaults WHERE key='userId'),"
                             " (SELECT count(*) FROM outbox JOIN clients ON clients.id=client"
                             "  WHERE clients.name='client' AND topic='topic')"),
              SQLITE_OK);
    EXPECT_EQ(counts.step(), SQLITE_ROW);
    EXPECT_EQ(counts.integer(0), 1);
    EXPECT_EQ(counts.integer(1), 100);
    counts = {};
    sqlite3_close(database);
    expectFilled();
}

TEST_F(HomeStoreTest, FindsWhatAKilledProcessHasWritten) {
    fillAndDie();
    expectFilled();
    EXPECT_FALSE(fs::exists(home_.basePath() + ".journal"));
    expectFilled();
}

TEST_F(HomeStoreTest, IsLockedAgainstOtherProcesses) {
    const auto opened = HomeStore::open(home_.options());
    ASSERT_TRUE(opened.isOk());
    const int outcome = resultOfChild([this] {
        const auto second = HomeStore::open(home_.options());
        const bool isClear =
            !second && second.error().code == static_cast<std::int64_t>(StoreErrorCode::InUse) &&
            second.error().localizedDescription().find("in use by another process (pid " +
                                                       std::to_string(getppid())) != std::string::npos;
        return isClear ? 0 : 1;
    });
    EXPECT_EQ(outcome, 0);
}

TEST_F(HomeStoreTest, LosesNoAppendWhenTheProcessIsKilled) {
    for (const int appends : {1, 7, 60}) {
        const int outcome = resultOfChild([this, appends]() -> int {
            const auto memory = home_.open().memory;
            for (int i = 1; i <= appends; ++i) {
                if (!memory->appendToOutbox(
                        "client", {static_cast<std::uint16_t>(i), "t", std::string(500, 'p'), false})) {
                    return 1;
                }
            }
            raise(SIGKILL);
            return 2;
        });
        ASSERT_EQ(outcome, -SIGKILL);
        const auto memory = home_.open().memory;
        EXPECT_EQ(memory->loadOutbox("client").value().size(), static_cast<std::size_t>(appends));
        memory->erase("client");
    }
}

TEST_F(HomeStoreTest, LosesNothingWhenTheProcessIsKilledWhileItsJournalIsCarriedOver) {
    constexpr int kWrites = 400;
    const int outcome = resultOfChild([this]() -> int {
        const auto defaults = home_.open().defaults;
        // More than three runs of the journal.
        const std::string large(3 * StoreJournal::kRunLength / kWrites + 5'000, 'x');
        for (int i = 1; i <= kWrites; ++i) {
            defaults->setObject("count", i);
            defaults->setObject("large", large + std::to_string(i));
            if (!defaults->synchronize()) {
                return 1;
            }
        }
        raise(SIGKILL);
        return 2;
    });
    ASSERT_EQ(outcome, -SIGKILL);
    EXPECT_EQ(home_.open().defaults->integerForKey("count"), kWrites);
}

TEST_F(HomeStoreTest, BoundsItsJournal) {
    const auto home = home_.open();
    const std::string large(1'000'000, 'x');
    for (int i = 0; i < 200; ++i) {
        home.defaults->setObject("large", large + std::to_string(i));
        ASSERT_TRUE(home.defaults->synchronize());
    }
    for (const char* const file : {".journal", ".journal-2"}) {
        EXPECT_LE(fs::file_size(home_.basePath() + file), 5 * StoreJournal::kRunLength) << file;
    }
}

TEST_F(HomeStoreTest, FindsAnOutboxThatWasWrittenInThisLife) {
    const auto home = home_.open();
    for (std::uint16_t id = 1; id <= 3; ++id) {
        ASSERT_TRUE(home.memory->appendToOutbox("client", {id, "t", "p", false}));
        EXPECT_EQ(home.memory->loadOutbox("client").value().size(), id);
    }
    EXPECT_TRUE(home.memory->storeGrantedTopics("client", {{"t", 1}}));
    EXPECT_TRUE(home.memory->loadGrantedTopics("client").value().contains("t"));
}

TEST_F(HomeStoreTest, SaysThatItsFolderCannotBeMadeOrWrittenTo) {
    auto options = home_.options();
    options.folder = "/proc/xelpush-test/state";
    EXPECT_EQ(HomeStore::open(options).error().code, static_cast<std::int64_t>(StoreErrorCode::CannotOpen));

    fill();
    const std::string folder = home_.options().folder;
    const int outcome = resultOfChild([&] {
        fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read |
                                    fs::perms::others_exec);
        fs::permissions(fs::path(folder).parent_path(), fs::perms::all);
        fs::permissions(fs::path(folder).parent_path().parent_path(), fs::perms::all);
        if (geteuid() == 0 && setuid(65534) != 0) {
            return 1;
        }
        const auto opened = HomeStore::open(home_.options());
        return !opened && opened.error().code == static_cast<std::int64_t>(StoreErrorCode::CannotOpen) ? 0
                                                                                                       : 2;
    });
    EXPECT_EQ(outcome, 0);
    fs::permissions(folder, fs::perms::owner_all);
}

TEST_F(HomeStoreTest, ReportsAWriteThatFailedAndGoesOn) {
    const auto memory = home_.open().memory;
    const OutboxEntry entry{1, "t", std::string(5000, 'p'), false};
    ASSERT_TRUE(memory->appendToOutbox("client", entry).isOk());
    home_.setFailingCommits(true);
    const auto failed = memory->appendToOutbox("client", {2, "t", "lost", false});
    home_.setFailingCommits(false);
    ASSERT_FALSE(failed.isOk());
    EXPECT_EQ(failed.error().code, static_cast<std::int64_t>(StoreErrorCode::WriteFailed));
    EXPECT_FALSE(home_.problems().empty());
    EXPECT_TRUE(memory->appendToOutbox("client", {3, "t", "kept", false}).isOk());
    EXPECT_EQ(memory->loadOutbox("client").value().size(), 2U);
}

TEST_F(HomeStoreTest, KeepsTheNewerOfTwoPublicationsUnderOnePacketIdForGood) {
    for (int opening = 1; opening <= 2; ++opening) {
        const auto memory = home_.open().memory;
        for (const std::uint16_t id : {std::uint16_t{7}, std::uint16_t{8}}) {
            ASSERT_TRUE(memory->appendToOutbox("client", {id, "older", "p", false}));
        }
        ASSERT_TRUE(memory->appendToOutbox("client", {7, "newer", "p", false}));
        const auto entries = memory->loadOutbox("client").value();
        ASSERT_EQ(entries.size(), 2U);
        EXPECT_EQ(entries.back(), (OutboxEntry{7, "newer", "p", false})) << "behind the other one";
    }
    const std::uint16_t acknowledged[] = {7};
    home_.open().memory->removeFromOutbox("client", acknowledged);
    EXPECT_EQ(home_.open().memory->loadOutbox("client").value().size(), 1U) << "the older one has come back";
}

TEST_F(HomeStoreTest, StoresEverySettingButOneThatIsNestedTooDeeply) {
    Value deep = 1;
    for (std::size_t i = 0; i <= kDeepestStoredValue; ++i) {
        deep = Array{std::move(deep)};
    }
    {
        const auto defaults = home_.open().defaults;
        defaults->setObject("deep", deep);
        defaults->setObject("userId", "alice01");
        EXPECT_FALSE(defaults->synchronize());
        EXPECT_EQ(defaults->objectForKey("deep"), deep);
    }
    EXPECT_EQ(home_.open().defaults->stringForKey("userId"), "alice01");
}

TEST_F(HomeStoreTest, KeepsNewPublicationsWhenOldRowsAreErasedAndTheirNumbersUsedAgain) {
    const auto memory = home_.open().memory;
    for (std::uint16_t id = 1; id <= 3; ++id) {
        ASSERT_TRUE(memory->appendToOutbox("old", {id, "t", "old", false}).isOk());
    }
    const std::uint16_t acknowledged[] = {2, 3};
    memory->removeFromOutbox("old", acknowledged);
    memory->erase("old");
    for (std::uint16_t id = 1; id <= 40; ++id) {
        ASSERT_TRUE(memory->appendToOutbox("new", {id, "t", "new", false}).isOk());
    }
    EXPECT_EQ(memory->loadOutbox("new").value().size(), 40U);
}

TEST_F(HomeStoreTest, WritesPutOffRemovalsWithoutFurtherPublications) {
    const int outcome = resultOfChild([&]() -> int {
        const auto loop = std::make_shared<AsioRunLoop>();
        auto options = home_.options();
        options.runLoop = loop;
        const auto memory = HomeOnDisk::open(options).memory;
        for (std::uint16_t id = 1; id <= 3; ++id) {
            (void)memory->appendToOutbox("client", {id, "t", "p", false}).isOk();
        }
        const std::uint16_t acknowledged[] = {1, 3};
        memory->removeFromOutbox("client", acknowledged);
        loop->scheduleTimer(std::chrono::milliseconds(1200), [&] { loop->stop(); });
        loop->run();
        raise(SIGKILL);
        return 1;
    });
    ASSERT_EQ(outcome, -SIGKILL);
    const auto left = home_.open().memory->loadOutbox("client").value();
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left.front().packetId, 2);
}

TEST_F(HomeStoreTest, IsReadByOtherThreadsWhileTheRunLoopWrites) {
    const auto defaults = home_.open().defaults;
    defaults->setObject("flag", true);
    std::atomic<bool> isOver = false;
    std::thread reader([&] {
        while (!isOver) {
            EXPECT_TRUE(defaults->boolForKey("flag"));
            (void)defaults->objectForKey("list");
        }
    });
    for (int i = 0; i < 300; ++i) {
        defaults->setObject("list", Array{Value(i), Value(std::to_string(i))});
        defaults->setObject("key" + std::to_string(i), i);
        EXPECT_TRUE(defaults->synchronize());
    }
    isOver = true;
    reader.join();
}

}  // namespace
}  // namespace xel::contract
