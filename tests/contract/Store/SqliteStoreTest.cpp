#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/SqliteHome.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;

unsigned modeOf(const std::string& path) {
    struct stat facts {};
    EXPECT_EQ(stat(path.c_str(), &facts), 0) << path;
    return facts.st_mode & 0777U;
}

void replaceContents(const std::string& path, const std::string& octets) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << octets;
}

/// Runs statements on a store that nobody has open, the way another program would.
void execute(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    sqlite3_close(database);
}

std::vector<fs::path> filesSetAside(const std::string& databasePath) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(fs::path(databasePath).parent_path())) {
        if (entry.path().filename().string().find(".damaged-") != std::string::npos) {
            found.push_back(entry.path());
        }
    }
    return found;
}

/// Runs the work in a child process and answers its exit code, 255 when it was killed.
int inChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

class SqliteStoreTest : public ::testing::Test {
protected:
    /// A store with a setting and enough publications to fill many pages.
    void fill() {
        const auto store = SqliteStore::open(home_.options()).value();
        const auto defaults = SqliteUserDefaults::load(store).value();
        const auto memory = SqliteSessionMemory::load(store).value();
        defaults->setObject("userId", "alice01");
        EXPECT_TRUE(defaults->synchronize());
        for (std::uint16_t id = 1; id <= 100; ++id) {
            EXPECT_TRUE(memory->appendToOutbox("client", {id, "topic", std::string(300, 'p'), false}).isOk());
        }
    }

    void carryLogOver() { execute(home_.databasePath(), "PRAGMA journal_mode=DELETE"); }

    void expectSetAsideAndNew() {
        const auto opened = SqliteStore::open(home_.options());
        ASSERT_TRUE(opened.isOk()) << opened.error().localizedDescription();
        ASSERT_TRUE(opened.value()->damageReport().has_value());
        EXPECT_EQ(opened.value()->damageReport()->code, static_cast<std::int64_t>(StoreErrorCode::Damaged));
        ASSERT_EQ(home_.problems().size(), 1U);
        EXPECT_EQ(home_.problems().front(), *opened.value()->damageReport());
        EXPECT_FALSE(filesSetAside(home_.databasePath()).empty());
        const auto defaults = SqliteUserDefaults::load(opened.value()).value();
        EXPECT_EQ(defaults->objectForKey("userId"), std::nullopt);
        defaults->setObject("userId", "bob");
        EXPECT_TRUE(defaults->synchronize());
    }

    void expectRefused(StoreErrorCode code) {
        const std::optional<std::string> before = contentsOf(home_.databasePath());
        const auto opened = SqliteStore::open(home_.options());
        ASSERT_FALSE(opened.isOk());
        EXPECT_EQ(opened.error().code, static_cast<std::int64_t>(code))
            << opened.error().localizedDescription();
        EXPECT_EQ(contentsOf(home_.databasePath()), before);
        EXPECT_TRUE(filesSetAside(home_.databasePath()).empty());
    }

    SqliteHome home_;
};

TEST_F(SqliteStoreTest, KeepsOthersOut) {
    fill();
    EXPECT_EQ(modeOf(home_.options().folder), 0700U);
    EXPECT_EQ(modeOf(home_.databasePath()), 0600U);
    EXPECT_EQ(modeOf(home_.databasePath() + "-wal"), 0600U);
}

TEST_F(SqliteStoreTest, IsLockedAgainstOtherProcesses) {
    const auto opened = SqliteStore::open(home_.options());
    ASSERT_TRUE(opened.isOk());
    const int outcome = inChild([this] {
        const auto second = SqliteStore::open(home_.options());
        const bool isClear =
            !second && second.error().code == static_cast<std::int64_t>(StoreErrorCode::InUse) &&
            second.error().localizedDescription().find("in use by another process (pid " +
                                                       std::to_string(getppid())) != std::string::npos;
        return isClear ? 0 : 1;
    });
    EXPECT_EQ(outcome, 0);
}

TEST_F(SqliteStoreTest, LosesNoAppendWhenTheProcessIsKilled) {
    for (const int appends : {1, 7, 60}) {
        const int outcome = inChild([this, appends]() -> int {
            const auto memory = home_.openMemory();
            for (int i = 1; i <= appends; ++i) {
                if (!memory->appendToOutbox(
                        "client", {static_cast<std::uint16_t>(i), "t", std::string(500, 'p'), false})) {
                    return 1;
                }
            }
            raise(SIGKILL);
            return 2;
        });
        ASSERT_EQ(outcome, 255);
        const auto memory = home_.openMemory();
        EXPECT_EQ(memory->loadOutbox("client").value().size(), static_cast<std::size_t>(appends));
        memory->erase("client");
    }
}

TEST_F(SqliteStoreTest, LosesNoCommitWhenTheProcessIsKilledAroundCheckpoints) {
    constexpr int kCommits = 3 * SqliteStore::kFramesBeforeCheckpoint + 17;
    const int outcome = inChild([this]() -> int {
        const auto defaults = home_.openDefaults();
        for (int i = 1; i <= kCommits; ++i) {
            defaults->setObject("count", i);
            if (!defaults->synchronize()) {
                return 1;
            }
        }
        raise(SIGKILL);
        return 2;
    });
    ASSERT_EQ(outcome, 255);
    EXPECT_EQ(home_.openDefaults()->integerForKey("count"), kCommits);
}

TEST_F(SqliteStoreTest, BoundsItsLog) {
    const auto defaults = home_.openDefaults();
    for (int i = 0; i < 3 * SqliteStore::kMostFrames; ++i) {
        defaults->setObject("count", i);
        ASSERT_TRUE(defaults->synchronize());
    }
    constexpr std::uintmax_t kFrameSize = 24 + 1024;
    EXPECT_LE(fs::file_size(home_.databasePath() + "-wal"), (SqliteStore::kMostFrames + 1) * kFrameSize);
}

TEST_F(SqliteStoreTest, PostponesATurnWhileTheLogIsCarriedOverButAnswersEachOnce) {
    const auto loop = std::make_shared<AsioRunLoop>();
    auto options = home_.options();
    options.runLoop = loop;
    const auto defaults = SqliteUserDefaults::load(SqliteStore::open(options).value()).value();
    constexpr int kTurns = 4 * SqliteStore::kFramesBeforeCheckpoint;
    int turns = 0;
    std::function<void()> turn = [&] {
        defaults->setObject("count", ++turns);
        defaults->synchronizeTurn([&](bool isStored) {
            EXPECT_TRUE(isStored);
            if (turns < kTurns) {
                loop->post(turn);
            } else {
                loop->stop();
            }
        });
    };
    loop->post(turn);
    loop->run();
    EXPECT_EQ(turns, kTurns);
}

TEST_F(SqliteStoreTest, SetsAsideAFileThatIsNoDatabase) {
    fill();
    fs::remove(home_.databasePath() + "-wal");
    replaceContents(home_.databasePath(), "this was never a database, and it is long enough to tell");
    expectSetAsideAndNew();
}

TEST_F(SqliteStoreTest, SetsAsideADatabaseThatIsCutShort) {
    fill();
    carryLogOver();
    fs::resize_file(home_.databasePath(), fs::file_size(home_.databasePath()) / 2);
    expectSetAsideAndNew();
}

TEST_F(SqliteStoreTest, SetsAsideADatabaseWithDamagedPages) {
    fill();
    carryLogOver();
    std::string octets = contentsOf(home_.databasePath()).value();
    std::fill(octets.begin() + 1024, octets.begin() + 20 * 1024, '\x5A');
    replaceContents(home_.databasePath(), octets);
    expectSetAsideAndNew();
}

TEST_F(SqliteStoreTest, SetsAsideAnEmptiedDatabaseTogetherWithItsLog) {
    fill();
    fs::resize_file(home_.databasePath(), 0);
    expectSetAsideAndNew();
    EXPECT_EQ(filesSetAside(home_.databasePath()).size(), 2U);
}

TEST_F(SqliteStoreTest, SetsAsideTheLogWhenAKillKeptItFromFollowingItsDatabase) {
    fill();
    const std::string log = contentsOf(home_.databasePath() + "-wal").value();
    fs::rename(home_.databasePath(), home_.databasePath() + ".damaged-before");
    expectSetAsideAndNew();
    const auto aside = filesSetAside(home_.databasePath());
    ASSERT_EQ(aside.size(), 2U) << "the database of the former start, and its log";
    EXPECT_TRUE(contentsOf(aside[0].string()) == log || contentsOf(aside[1].string()) == log);
}

TEST_F(SqliteStoreTest, IsExaminedWithoutBeingChanged) {
    fill();
    EXPECT_TRUE(SqliteStore::examine(home_.options().folder).isOk());
    fs::resize_file(home_.databasePath(), 0);
    const auto examined = SqliteStore::examine(home_.options().folder);
    ASSERT_FALSE(examined.isOk());
    EXPECT_EQ(examined.error().code, static_cast<std::int64_t>(StoreErrorCode::Damaged));
    EXPECT_TRUE(filesSetAside(home_.databasePath()).empty());
    EXPECT_TRUE(fs::remove(home_.databasePath() + "-wal"));
    replaceContents(home_.databasePath(), "this was never a database, and it is long enough to tell");
    EXPECT_FALSE(SqliteStore::examine(home_.options().folder).isOk());
    EXPECT_TRUE(filesSetAside(home_.databasePath()).empty());
    EXPECT_TRUE(home_.problems().empty());
}

TEST_F(SqliteStoreTest, SetsAsideADatabaseWithoutItsTables) {
    fill();
    execute(home_.databasePath(), "DROP TABLE outbox");
    expectSetAsideAndNew();
}

TEST_F(SqliteStoreTest, ForgetsOnlyTheTailOfALogThatIsCutShort) {
    fill();
    const std::string log = home_.databasePath() + "-wal";
    fs::resize_file(log, fs::file_size(log) - 600);
    const auto opened = SqliteStore::open(home_.options());
    ASSERT_TRUE(opened.isOk());
    EXPECT_FALSE(opened.value()->damageReport().has_value());
    EXPECT_EQ(SqliteUserDefaults::load(opened.value()).value()->stringForKey("userId"), "alice01");
    const auto left = SqliteSessionMemory::load(opened.value()).value()->loadOutbox("client").value().size();
    EXPECT_GT(left, 90U);
    EXPECT_LT(left, 101U);
}

TEST_F(SqliteStoreTest, LeavesAStoreOfANewerVersionAsItIs) {
    fill();
    execute(home_.databasePath(), "PRAGMA user_version=2; PRAGMA journal_mode=DELETE");
    expectRefused(StoreErrorCode::NewerSchema);
}

TEST_F(SqliteStoreTest, LeavesAnotherProgramsDatabaseAsItIs) {
    fs::create_directories(home_.options().folder);
    execute(home_.databasePath(), "CREATE TABLE theirs(a); INSERT INTO theirs VALUES(1)");
    expectRefused(StoreErrorCode::NotAStore);
}

TEST_F(SqliteStoreTest, SaysThatItsFolderCannotBeMadeOrWrittenTo) {
    auto options = home_.options();
    options.folder = "/proc/xelpush-test/state";
    EXPECT_EQ(SqliteStore::open(options).error().code, static_cast<std::int64_t>(StoreErrorCode::CannotOpen));

    fill();
    const std::string folder = home_.options().folder;
    const int outcome = inChild([&] {
        fs::permissions(folder, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read |
                                    fs::perms::others_exec);
        fs::permissions(fs::path(folder).parent_path(), fs::perms::all);
        fs::permissions(fs::path(folder).parent_path().parent_path(), fs::perms::all);
        if (geteuid() == 0 && setuid(65534) != 0) {
            return 1;
        }
        const auto opened = SqliteStore::open(home_.options());
        return !opened && opened.error().code == static_cast<std::int64_t>(StoreErrorCode::CannotOpen) ? 0
                                                                                                       : 2;
    });
    EXPECT_EQ(outcome, 0);
    fs::permissions(folder, fs::perms::owner_all);
}

TEST_F(SqliteStoreTest, ReportsACommitThatFailedAndGoesOn) {
    const auto store = SqliteStore::open(home_.options()).value();
    const auto memory = SqliteSessionMemory::load(store).value();
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

TEST_F(SqliteStoreTest, UndoesACommitWhoseWorkThrewAndGoesOn) {
    const auto store = SqliteStore::open(home_.options()).value();
    const auto insert = [&store](const char* name) {
        const std::string sql = std::string("INSERT INTO clients(name) VALUES('") + name + "')";
        return sqlite3_exec(store->connection(), sql.c_str(), nullptr, nullptr, nullptr);
    };
    const auto thrown = [&]() -> int {
        (void)insert("undone");
        throw std::bad_alloc();
    };
    EXPECT_THROW((void)store->commit(false, thrown), std::bad_alloc);
    EXPECT_TRUE(store->commit(false, [&] { return insert("undone"); })) << "the name is taken";
    EXPECT_TRUE(home_.problems().empty());
}

TEST_F(SqliteStoreTest, ReadsADamagedSettingAsAbsentAndTheOthersAsTheyAre) {
    fill();
    execute(home_.databasePath(), "INSERT INTO defaults(key, value) VALUES('damaged', x'01FF')");
    const auto defaults = home_.openDefaults();
    EXPECT_EQ(defaults->objectForKey("damaged"), std::nullopt);
    EXPECT_EQ(defaults->stringForKey("userId"), "alice01");
    ASSERT_EQ(home_.problems().size(), 1U);
    EXPECT_NE(home_.problems().front().localizedDescription().find("\"damaged\""), std::string::npos);
    defaults->setObject("damaged", "repaired");
    EXPECT_TRUE(defaults->synchronize());
}

TEST_F(SqliteStoreTest, LeavesOutAPublicationThatCannotBeOne) {
    fill();
    execute(home_.databasePath(),
            "UPDATE outbox SET packet=70000 WHERE seq=5; UPDATE outbox SET client=99 WHERE seq=6");
    const auto memory = home_.openMemory();
    EXPECT_EQ(memory->loadOutbox("client").value().size(), 98U);
    EXPECT_EQ(home_.problems().size(), 2U);
}

TEST_F(SqliteStoreTest, KeepsTheNewerOfTwoPublicationsUnderOnePacketIdForGood) {
    fill();
    // What a kill leaves when the removal of the older one was still put off.
    execute(home_.databasePath(),
            "INSERT INTO outbox(client, packet, retain, topic, payload) "
            "SELECT client, 7, 0, 'newer', 'p' FROM outbox WHERE seq=7");
    {
        const auto memory = home_.openMemory();
        const auto entries = memory->loadOutbox("client").value();
        ASSERT_EQ(entries.size(), 100U);
        EXPECT_EQ(entries.back().topic, "newer");
        const std::uint16_t acknowledged[] = {7};
        memory->removeFromOutbox("client", acknowledged);
    }
    EXPECT_EQ(home_.openMemory()->loadOutbox("client").value().size(), 99U) << "the older one has come back";
}

TEST_F(SqliteStoreTest, StoresEverySettingButOneThatIsNestedTooDeeply) {
    Value deep = 1;
    for (std::size_t i = 0; i <= kDeepestStoredValue; ++i) {
        deep = Array{std::move(deep)};
    }
    {
        const auto defaults = home_.openDefaults();
        defaults->setObject("deep", deep);
        defaults->setObject("userId", "alice01");
        EXPECT_FALSE(defaults->synchronize());
        EXPECT_EQ(defaults->objectForKey("deep"), deep);
    }
    EXPECT_EQ(home_.openDefaults()->stringForKey("userId"), "alice01");
}

TEST_F(SqliteStoreTest, KeepsNewPublicationsWhenOldRowsAreErasedAndTheirNumbersUsedAgain) {
    const auto memory = home_.openMemory();
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

TEST_F(SqliteStoreTest, WritesPutOffRemovalsWithoutFurtherPublications) {
    const int outcome = inChild([&]() -> int {
        const auto loop = std::make_shared<AsioRunLoop>();
        auto options = home_.options();
        options.runLoop = loop;
        const auto memory = SqliteSessionMemory::load(SqliteStore::open(options).value()).value();
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
    ASSERT_EQ(outcome, 255);
    const auto left = home_.openMemory()->loadOutbox("client").value();
    ASSERT_EQ(left.size(), 1U);
    EXPECT_EQ(left.front().packetId, 2);
}

TEST_F(SqliteStoreTest, IsReadByOtherThreadsWhileTheRunLoopWrites) {
    const auto defaults = home_.openDefaults();
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
