#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreJournal.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"
#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Store/FileContents.h"

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

class HomeStoreTest : public ::testing::Test {
protected:
    static bool fill(const StoredHome& home) {
        home.defaults->setObject("userId", "alice01");
        bool isStored = home.defaults->synchronize();
        for (std::uint16_t id = 1; id <= 100; ++id) {
            isStored = home.memory->appendToOutbox("client", {id, "topic", std::string(300, 'p'), false}) &&
                       isStored;
        }
        return isStored;
    }

    /// A store with a setting and enough publications to fill many pages.
    void fill() { EXPECT_TRUE(fill(home_.open())); }

    /// The same, with all of it still in the journal.
    void fillAndDie() {
        ASSERT_EQ(inChild([this]() -> int {
                      const auto home = home_.open();
                      if (fill(home)) {
                          raise(SIGKILL);
                      }
                      return 1;
                  }),
                  255);
    }

    void expectFilled() {
        const auto home = home_.open();
        ASSERT_NE(home.defaults, nullptr);
        EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
        EXPECT_EQ(home.memory->loadOutbox("client").value().size(), 100U);
    }

    std::shared_ptr<HomeStore> expectSetAside() {
        const auto opened = HomeStore::open(home_.options());
        EXPECT_TRUE(opened.isOk()) << opened.error().localizedDescription();
        EXPECT_TRUE(opened.value()->damageReport().has_value());
        EXPECT_EQ(opened.value()->damageReport()->code, static_cast<std::int64_t>(StoreErrorCode::Damaged));
        EXPECT_FALSE(filesSetAside(home_.databasePath()).empty());
        std::string told;
        for (const NSError& problem : home_.problems()) {
            told += (told.empty() ? "" : "\n") + problem.localizedDescription();
        }
        EXPECT_EQ(told, opened.value()->damageReport()->localizedDescription());
        return opened.value();
    }

    static void expectToBeWrittenTo(const StoredHome& home) {
        home.defaults->setObject("userId", "bob");
        EXPECT_TRUE(home.defaults->synchronize());
    }

    void expectSetAsideAndNew() {
        const auto home = openStoredHome(expectSetAside()).value();
        EXPECT_EQ(home_.problems().size(), 1U);
        EXPECT_EQ(home.defaults->objectForKey("userId"), std::nullopt);
        EXPECT_TRUE(home.memory->clientIds().empty());
        expectToBeWrittenTo(home);
    }

    /// All but publications is there, and that is told.
    void expectSetAsideAndSalvaged(std::size_t fewestPublications, std::size_t mostPublications) {
        const auto home = openStoredHome(expectSetAside()).value();
        ASSERT_EQ(home_.problems().size(), 2U);
        EXPECT_NE(
            home_.problems().back().localizedDescription().find(
                "the home \"home\" of the store " + home_.databasePath() + " has lost what it had to send"),
            std::string::npos)
            << home_.problems().back().localizedDescription();
        EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
        const auto outbox = home.memory->loadOutbox("client").value();
        EXPECT_GE(outbox.size(), fewestPublications);
        EXPECT_LE(outbox.size(), mostPublications);
        for (const OutboxEntry& entry : outbox) {
            EXPECT_EQ(entry, (OutboxEntry{entry.packetId, "topic", std::string(300, 'p'), false}));
        }
        expectToBeWrittenTo(home);
    }

    void expectRefused(StoreErrorCode code) {
        const std::optional<std::string> before = contentsOf(home_.databasePath());
        const auto opened = HomeStore::open(home_.options());
        ASSERT_FALSE(opened.isOk());
        EXPECT_EQ(opened.error().code, static_cast<std::int64_t>(code))
            << opened.error().localizedDescription();
        EXPECT_EQ(contentsOf(home_.databasePath()), before);
        EXPECT_TRUE(filesSetAside(home_.databasePath()).empty());
    }

    HomeOnDisk home_;
};

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
    const int outcome = inChild([this] {
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
        const int outcome = inChild([this, appends]() -> int {
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
        ASSERT_EQ(outcome, 255);
        const auto memory = home_.open().memory;
        EXPECT_EQ(memory->loadOutbox("client").value().size(), static_cast<std::size_t>(appends));
        memory->erase("client");
    }
}

TEST_F(HomeStoreTest, LosesNothingWhenTheProcessIsKilledWhileItsJournalIsCarriedOver) {
    constexpr int kWrites = 400;
    const int outcome = inChild([this]() -> int {
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
    ASSERT_EQ(outcome, 255);
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

TEST_F(HomeStoreTest, SetsAsideAFileThatIsNoDatabase) {
    fill();
    replaceContents(home_.databasePath(), "this was never a database, and it is long enough to tell");
    expectSetAsideAndNew();
}

TEST_F(HomeStoreTest, SetsAsideADatabaseThatIsCutShortAndKeepsWhatIsLeft) {
    fill();
    fs::resize_file(home_.databasePath(), fs::file_size(home_.databasePath()) / 2);
    expectSetAsideAndSalvaged(1, 60);
}

TEST_F(HomeStoreTest, SetsAsideADatabaseWithDamagedPages) {
    fill();
    std::string octets = contentsOf(home_.databasePath()).value();
    std::fill(octets.begin() + 1024, octets.begin() + 20 * 1024, '\x5A');
    replaceContents(home_.databasePath(), octets);
    expectSetAsideAndNew();
}

TEST_F(HomeStoreTest, KeepsWhatTheJournalHoldsBesideADamagedDatabase) {
    fillAndDie();
    replaceContents(home_.databasePath(), "this was never a database, and it is long enough to tell");
    const auto opened = HomeStore::open(home_.options());
    ASSERT_TRUE(opened.isOk());
    EXPECT_TRUE(opened.value()->damageReport().has_value());
    EXPECT_EQ(filesSetAside(home_.databasePath()).size(), 1U);
    const auto home = openStoredHome(opened.value()).value();
    EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
    EXPECT_EQ(home.memory->loadOutbox("client").value().size(), 100U);
}

TEST_F(HomeStoreTest, SaysThatItsDatabaseIsGoneButItsJournalIsNot) {
    fill();
    fillAndDie();
    fs::resize_file(home_.databasePath(), 0);
    EXPECT_EQ(home_.open().memory->loadOutbox("client").value().size(), 100U) << "they were written again";
    ASSERT_EQ(home_.problems().size(), 1U);
    EXPECT_EQ(home_.problems().front().code, static_cast<std::int64_t>(StoreErrorCode::Damaged));
}

TEST_F(HomeStoreTest, SetsAnEmptiedFileOfTheFirstSchemaAsideTogetherWithItsLog) {
    fs::create_directories(home_.options().folder);
    replaceContents(home_.databasePath(), "");
    replaceContents(home_.databasePath() + "-wal", "what is left");
    expectSetAsideAndNew();
    EXPECT_EQ(filesSetAside(home_.databasePath()).size(), 2U);
}

TEST_F(HomeStoreTest, IsExaminedWithoutBeingChanged) {
    fill();
    EXPECT_TRUE(HomeStore::examine(home_.options().folder).isOk());
    const auto before = contentsOf(home_.databasePath());
    EXPECT_TRUE(HomeStore::examine(home_.options().folder).isOk());
    EXPECT_EQ(contentsOf(home_.databasePath()), before);
    replaceContents(home_.databasePath(), "this was never a database, and it is long enough to tell");
    EXPECT_FALSE(HomeStore::examine(home_.options().folder).isOk());
    EXPECT_TRUE(filesSetAside(home_.databasePath()).empty());
    EXPECT_TRUE(home_.problems().empty());
}

TEST_F(HomeStoreTest, SetsAsideADatabaseWithoutATableAndKeepsTheOthers) {
    fill();
    execute(home_.databasePath(), "DROP TABLE outbox");
    expectSetAsideAndSalvaged(0, 0);
}

TEST_F(HomeStoreTest, SetsAsideADatabaseWithoutTheTableOfItsHomes) {
    fill();
    execute(home_.databasePath(), "DROP TABLE homes");
    expectSetAsideAndNew();
}

TEST_F(HomeStoreTest, ForgetsOnlyTheLastRecordOfAJournalThatIsCutShort) {
    fillAndDie();
    const std::string journal = home_.basePath() + ".journal";
    fs::resize_file(journal, fs::file_size(journal) - 1);
    const auto home = home_.open();
    EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
    EXPECT_EQ(home.memory->loadOutbox("client").value().size(), 99U);
    EXPECT_TRUE(home_.problems().empty()) << "a kill leaves that, and nobody was told that it was written";
}

TEST_F(HomeStoreTest, TellsOfADamagedRecordOfItsJournalAndKeepsTheOthers) {
    fillAndDie();
    const std::string journal = home_.basePath() + ".journal";
    std::string octets = contentsOf(journal).value();
    octets[octets.size() / 2] ^= 1;
    replaceContents(journal, octets);
    const auto home = home_.open();
    EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
    EXPECT_EQ(home.memory->loadOutbox("client").value().size(), 99U);
    ASSERT_EQ(home_.problems().size(), 1U);
    EXPECT_EQ(home_.problems().front().code, static_cast<std::int64_t>(StoreErrorCode::Damaged));
}

TEST_F(HomeStoreTest, SetsAJournalAsideThatIsNone) {
    fill();
    replaceContents(home_.basePath() + ".journal", std::string(500, 'x'));
    expectFilled();
    EXPECT_EQ(filesSetAside(home_.databasePath()).size(), 1U);
    EXPECT_EQ(home_.problems().size(), 1U);
}

TEST_F(HomeStoreTest, TakesTheFileOfTheFirstSchemaIn) {
    fs::create_directories(home_.options().folder);
    execute(home_.databasePath(),
            "PRAGMA journal_mode=WAL;"
            "CREATE TABLE defaults(id INTEGER PRIMARY KEY, key TEXT NOT NULL UNIQUE, value BLOB NOT NULL);"
            "CREATE TABLE clients(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, topics BLOB);"
            "CREATE TABLE outbox(seq INTEGER PRIMARY KEY, client INTEGER NOT NULL, packet INTEGER NOT NULL,"
            " retain INTEGER NOT NULL, topic TEXT NOT NULL, payload BLOB NOT NULL);"
            "PRAGMA application_id=1483041872; PRAGMA user_version=1;"
            "INSERT INTO defaults(key, value) VALUES('userId', x'010507616C6963653031');"
            "INSERT INTO clients(name, topics) VALUES('client', x'01090101740302');"
            // Of two under one identifier the removal of the older one was still put off.
            "INSERT INTO outbox(client, packet, retain, topic, payload) VALUES"
            " (1, 7, 0, 'older', 'p'), (1, 5, 1, 'second', 'p'), (1, 7, 0, 'newer', 'p')");
    for (int opening = 1; opening <= 2; ++opening) {
        const auto home = home_.open();
        ASSERT_NE(home.defaults, nullptr);
        EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
        EXPECT_EQ(home.memory->loadGrantedTopics("client").value(), (TopicTable{{"t", 1}}));
        const auto outbox = home.memory->loadOutbox("client").value();
        ASSERT_EQ(outbox.size(), 2U) << "opening " << opening;
        EXPECT_EQ(outbox[0], (OutboxEntry{5, "second", "p", true}));
        EXPECT_EQ(outbox[1], (OutboxEntry{7, "newer", "p", false}));
    }
    EXPECT_TRUE(home_.problems().empty());
}

TEST_F(HomeStoreTest, TakesTheFileOfTheSecondSchemaIn) {
    fs::create_directories(home_.options().folder);
    const std::string makeStore =
        "CREATE TABLE homes(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE);"
        "CREATE TABLE defaults(home INTEGER NOT NULL, key TEXT NOT NULL, value BLOB NOT NULL,"
        " PRIMARY KEY(home, key)) WITHOUT ROWID;"
        "CREATE TABLE clients(id INTEGER PRIMARY KEY, home INTEGER NOT NULL, name TEXT NOT NULL, topics BLOB,"
        " UNIQUE(home, name));"
        "CREATE TABLE outbox(client INTEGER NOT NULL, packet INTEGER NOT NULL, seq INTEGER NOT NULL,"
        " retain INTEGER NOT NULL, topic TEXT NOT NULL, payload BLOB NOT NULL, PRIMARY KEY(client, packet))"
        " WITHOUT ROWID;"
        "CREATE TABLE journal(run INTEGER NOT NULL, store INTEGER NOT NULL);"
        "PRAGMA application_id=1483041872; PRAGMA user_version=2;"
        "INSERT INTO journal VALUES(12, 99);"
        "INSERT INTO homes VALUES(4, 'home'), (5, 'bob');"
        "INSERT INTO defaults VALUES(4, 'userId', x'010507616C6963653031'), (5, 'userId', x'010503626F62');"
        "INSERT INTO clients VALUES(8, 4, 'client', x'01090101740302'), (9, 5, 'client', NULL);"
        "INSERT INTO outbox VALUES(8, 7, 51539607552, 0, 'first', 'p'), (8, 5, 51539607553, 1, 'second', 'q');";
    execute(home_.databasePath(), makeStore);
    for (int opening = 1; opening <= 2; ++opening) {
        const auto store = HomeStore::open(home_.options()).value();
        const auto home = openStoredHome(store).value();
        EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
        EXPECT_EQ(home.memory->loadGrantedTopics("client").value(), (TopicTable{{"t", 1}}));
        const auto outbox = home.memory->loadOutbox("client").value();
        ASSERT_EQ(outbox.size(), 2U) << "opening " << opening;
        EXPECT_EQ(outbox[0], (OutboxEntry{7, "first", "p", false}));
        EXPECT_EQ(outbox[1], (OutboxEntry{5, "second", "q", true}));
        const auto bob = openStoredHome(store, "bob").value();
        EXPECT_EQ(bob.defaults->stringForKey("userId"), "bob");
        EXPECT_EQ(bob.memory->clientIds(), std::vector<std::string>{"client"});
        EXPECT_EQ(modeOf(home_.databasePath()), 0600U);
    }
    EXPECT_TRUE(home_.problems().empty());

    fs::remove(home_.databasePath());
    execute(home_.databasePath(), makeStore + "DROP TABLE outbox");
    expectSetAsideAndNew();
}

TEST_F(HomeStoreTest, LeavesAStoreOfANewerVersionAsItIs) {
    fill();
    execute(home_.databasePath(), "PRAGMA user_version=4");
    expectRefused(StoreErrorCode::NewerSchema);
}

TEST_F(HomeStoreTest, LeavesAnotherProgramsDatabaseAsItIs) {
    fs::create_directories(home_.options().folder);
    execute(home_.databasePath(), "CREATE TABLE theirs(a); INSERT INTO theirs VALUES(1)");
    expectRefused(StoreErrorCode::NotAStore);
}

TEST_F(HomeStoreTest, SaysThatItsFolderCannotBeMadeOrWrittenTo) {
    auto options = home_.options();
    options.folder = "/proc/xelpush-test/state";
    EXPECT_EQ(HomeStore::open(options).error().code, static_cast<std::int64_t>(StoreErrorCode::CannotOpen));

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

TEST_F(HomeStoreTest, ReadsADamagedSettingAsAbsentAndTheOthersAsTheyAre) {
    fill();
    execute(home_.databasePath(), "INSERT INTO defaults SELECT home, 'damaged', sum, x'01FF' FROM defaults");
    const auto defaults = home_.open().defaults;
    EXPECT_EQ(defaults->objectForKey("damaged"), std::nullopt);
    EXPECT_EQ(defaults->stringForKey("userId"), "alice01");
    ASSERT_EQ(home_.problems().size(), 1U);
    EXPECT_NE(home_.problems().front().localizedDescription().find("\"damaged\""), std::string::npos);
    defaults->setObject("damaged", "repaired");
    EXPECT_TRUE(defaults->synchronize());
}

TEST_F(HomeStoreTest, LeavesOutAPublicationThatCannotBeOne) {
    fill();
    execute(home_.databasePath(),
            "UPDATE outbox SET packet=70000 WHERE packet=5; UPDATE outbox SET client=99 WHERE packet=6");
    const auto memory = home_.open().memory;
    EXPECT_EQ(memory->loadOutbox("client").value().size(), 98U);
    EXPECT_EQ(home_.problems().size(), 1U);
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
    const int outcome = inChild([&]() -> int {
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
    ASSERT_EQ(outcome, 255);
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
