// A store on a real disk that somebody, or the disk, has damaged: what is promised is that it opens or
// says why, never that it crashes or hangs, and that what cannot be read is set aside and never
// overwritten.

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Process/ChildOfTest.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/SqliteHome.h"

namespace xel::matrix {
namespace {

namespace fs = std::filesystem;
using contract::contentsOf;
using contract::SqliteHome;

constexpr std::size_t kPage = 1024;
constexpr std::size_t kLogHeader = 32;
constexpr std::size_t kFrame = 24 + kPage;
constexpr int kPublications = 25;

void replaceContents(const std::string& path, const std::string& octets) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << octets;
}

class StoreFault : public testing::Test {
protected:
    StoreFault() {
        {
            const auto store = SqliteStore::open(home_.options()).value();
            const auto defaults = SqliteUserDefaults::load(store).value();
            const auto memory = SqliteSessionMemory::load(store).value();
            defaults->setObject("userId", "alice01");
            EXPECT_TRUE(defaults->synchronize());
            for (std::uint16_t id = 1; id <= kPublications; ++id) {
                EXPECT_TRUE(
                    memory->appendToOutbox("client", {id, "topic", std::string(300, 'p'), false}).isOk());
            }
        }
        withLog_ = filesNow();
        sqlite3* database = nullptr;
        EXPECT_EQ(sqlite3_open(path().c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, "PRAGMA journal_mode=DELETE", nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(database);
        whole_ = {contentsOf(path()).value(), {}};
    }

    struct Files {
        std::string database;
        std::string log;  // empty: none
    };

    [[nodiscard]] std::string path() { return home_.databasePath(); }
    [[nodiscard]] std::string folder() { return home_.options().folder; }

    [[nodiscard]] Files filesNow() {
        return {contentsOf(path()).value_or(""), contentsOf(path() + "-wal").value_or("")};
    }

    void put(const Files& files) {
        fs::remove_all(folder());
        fs::create_directories(folder());
        fs::permissions(folder(), fs::perms::owner_all);
        replaceContents(path(), files.database);
        if (!files.log.empty()) {
            replaceContents(path() + "-wal", files.log);
        }
    }

    /// Opens the store on these files, reads all of it and writes to it. What was stored is there, or
    /// the store says that it is not, or (where a disk hands out other octets without a word) is
    /// whatever the octets are.
    void expectToGoOn(const Files& files, const std::string& what) {
        put(files);
        SCOPED_TRACE(what);
        const auto opened = SqliteStore::open(home_.options());
        if (!opened) {
            EXPECT_NE(opened.error().localizedDescription().find(path()), std::string::npos)
                << opened.error().localizedDescription();
            EXPECT_EQ(contentsOf(path()), files.database) << "what it refuses it leaves as it is";
            ++refused_;
            return;
        }
        setAside_ += opened.value()->damageReport() ? 1 : 0;
        EXPECT_EQ(opened.value()->damageReport().has_value(), !filesSetAside().empty());
        const auto defaults = SqliteUserDefaults::load(opened.value());
        const auto memory = SqliteSessionMemory::load(opened.value());
        if (!defaults || !memory) {
            ++refused_;
            return;
        }
        kept_ += memory.value()->loadOutbox("client").value().size() == kPublications ? 1 : 0;
        (void)memory.value()->loadGrantedTopics("client");
        defaults.value()->setObject("userId", "bob");
        const bool isWritten = defaults.value()->synchronize();
        const bool isAppended = memory.value()->appendToOutbox("client", {999, "t", "new", false}).isOk();
        EXPECT_TRUE((isWritten && isAppended) || !home_.problems().empty()) << "a failure is told";
    }

    [[nodiscard]] std::vector<std::string> filesSetAside() {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(folder())) {
            if (entry.path().filename().string().find(".damaged-") != std::string::npos) {
                found.push_back(entry.path());
            }
        }
        return found;
    }

    /// The store says that it cannot be opened, and leaves what is there.
    void expectRefusal(const std::string& words) {
        const auto opened = SqliteStore::open(home_.options());
        ASSERT_FALSE(opened.isOk());
        EXPECT_NE(opened.error().localizedDescription().find(words), std::string::npos)
            << opened.error().localizedDescription();
    }

    void expectWhole() {
        const auto store = SqliteStore::open(home_.options());
        ASSERT_TRUE(store.isOk()) << store.error().localizedDescription();
        EXPECT_FALSE(store.value()->damageReport().has_value());
        EXPECT_EQ(SqliteUserDefaults::load(store.value()).value()->stringForKey("userId"), "alice01");
        EXPECT_EQ(SqliteSessionMemory::load(store.value()).value()->loadOutbox("client").value().size(),
                  kPublications);
    }

    SqliteHome home_;
    Files withLog_;  // most of it in the log
    Files whole_;    // all of it in the database
    int refused_ = 0;
    int setAside_ = 0;
    int kept_ = 0;
};

TEST_F(StoreFault, CutAtEachPage) {
    for (std::size_t size = 0; size < whole_.database.size(); size += kPage) {
        expectToGoOn({whole_.database.substr(0, size), {}}, "cut at " + std::to_string(size));
    }
    EXPECT_EQ(kept_, 0) << "a part is not the whole";
}

TEST_F(StoreFault, CutWithinEachPage) {
    for (std::size_t size = 100; size < whole_.database.size(); size += kPage) {
        expectToGoOn({whole_.database.substr(0, size), {}}, "cut at " + std::to_string(size));
    }
    EXPECT_EQ(kept_, 0) << "a part is not the whole";
}

TEST_F(StoreFault, EachPageOfZeros) {
    for (std::size_t at = 0; at < whole_.database.size(); at += kPage) {
        std::string octets = whole_.database;
        octets.replace(at, kPage, std::string(kPage, '\0'));
        expectToGoOn({octets, {}}, "zeros at " + std::to_string(at));
    }
}

TEST_F(StoreFault, EachPageOfAnother) {
    for (std::size_t at = 0; at < whole_.database.size(); at += kPage) {
        std::string octets = whole_.database;
        octets.replace(at, kPage, whole_.database.substr((at + 3 * kPage) % whole_.database.size(), kPage));
        expectToGoOn({octets, {}}, "another page at " + std::to_string(at));
    }
}

TEST_F(StoreFault, AFlippedBitInTheHeadOfEachPage) {
    for (std::size_t at = 0; at < whole_.database.size(); at += kPage) {
        for (const std::size_t place : {std::size_t{0}, std::size_t{5}}) {
            std::string octets = whole_.database;
            octets[at + place] = static_cast<char>(octets[at + place] ^ 0x10);
            expectToGoOn({octets, {}}, "flipped at " + std::to_string(at + place));
        }
    }
}

TEST_F(StoreFault, AFlippedBitAnywhere) {
    std::mt19937 random(20260301);
    for (int i = 0; i < 40; ++i) {
        std::string octets = whole_.database;
        const std::size_t at = random() % octets.size();
        octets[at] = static_cast<char>(octets[at] ^ (1 << (random() % 8)));
        expectToGoOn({octets, {}}, "flipped at " + std::to_string(at));
    }
}

TEST_F(StoreFault, LongAFlippedBitInEachOctetOfTheFirstPages) {
    for (std::size_t at = 0; at < std::min(whole_.database.size(), 6 * kPage); ++at) {
        std::string octets = whole_.database;
        octets[at] = static_cast<char>(octets[at] ^ 0x81);
        expectToGoOn({octets, {}}, "flipped at " + std::to_string(at));
    }
}

TEST_F(StoreFault, LogCutAtEachFrame) {
    ASSERT_GT(withLog_.log.size(), 10 * kFrame);
    for (std::size_t size = kLogHeader; size < withLog_.log.size(); size += kFrame) {
        expectToGoOn({withLog_.database, withLog_.log.substr(0, size)}, "log cut at " + std::to_string(size));
    }
}

TEST_F(StoreFault, LogCutWithinEachFrame) {
    for (std::size_t size = kLogHeader - 7; size < withLog_.log.size(); size += kFrame) {
        expectToGoOn({withLog_.database, withLog_.log.substr(0, size)}, "log cut at " + std::to_string(size));
    }
}

TEST_F(StoreFault, EachFrameOfTheLogOfZeros) {
    for (std::size_t at = kLogHeader; at + kFrame <= withLog_.log.size(); at += kFrame) {
        std::string octets = withLog_.log;
        octets.replace(at, kFrame, std::string(kFrame, '\0'));
        expectToGoOn({withLog_.database, octets}, "zeros at " + std::to_string(at));
    }
    EXPECT_EQ(kept_, 0) << "a log ends at the first frame that is not its own";
}

TEST_F(StoreFault, AFlippedBitInEachFrameOfTheLog) {
    for (std::size_t at = kLogHeader; at + kFrame <= withLog_.log.size(); at += kFrame) {
        std::string octets = withLog_.log;
        octets[at + 500] = static_cast<char>(octets[at + 500] ^ 0x04);
        expectToGoOn({withLog_.database, octets}, "flipped in the frame at " + std::to_string(at));
    }
    EXPECT_EQ(kept_, 0) << "the log's own sums find it";
}

TEST_F(StoreFault, WithoutItsLog) {
    expectToGoOn({withLog_.database, {}}, "without its log");
}

TEST_F(StoreFault, WithTheLogOfAnotherStore) {
    SqliteHome other;
    {
        const auto memory = other.openMemory();
        ASSERT_TRUE(memory->appendToOutbox("stranger", {7, "theirs", "theirs", false}).isOk());
    }
    const std::string foreign = contentsOf(other.databasePath() + "-wal").value();
    expectToGoOn({whole_.database, foreign}, "another store's log");
}

TEST_F(StoreFault, WithALogOfGarbage) {
    put({whole_.database, std::string(5000, '\x5A')});
    expectWhole();
}

TEST_F(StoreFault, WithAnIndexOfGarbageBesideIt) {
    put(withLog_);
    replaceContents(path() + "-shm", std::string(32768, '\x5A'));
    expectWhole();
}

TEST_F(StoreFault, WithAJournalOfGarbageBesideIt) {
    put(withLog_);
    replaceContents(path() + "-journal", std::string(4096, '\x5A'));
    expectWhole();
}

TEST_F(StoreFault, AFolderInItsPlace) {
    put({});
    fs::remove(path());
    fs::create_directory(path());
    expectRefusal("home.db");
    EXPECT_TRUE(fs::is_directory(path()));
}

TEST_F(StoreFault, AFolderInThePlaceOfItsLog) {
    put(whole_);
    fs::create_directory(path() + "-wal");
    expectRefusal("home.db");
    EXPECT_EQ(contentsOf(path()), whole_.database);
    fs::remove(path() + "-wal");
    expectWhole();
}

TEST_F(StoreFault, AFolderInThePlaceOfItsLock) {
    put(whole_);
    fs::remove(folder() + "/home.lock");
    fs::create_directory(folder() + "/home.lock");
    expectRefusal("home.lock");
    fs::remove(folder() + "/home.lock");
    expectWhole();
}

TEST_F(StoreFault, AFileInThePlaceOfItsFolder) {
    fs::remove_all(folder());
    replaceContents(folder(), "a file");
    expectRefusal("Not a directory");
    EXPECT_EQ(contentsOf(folder()), "a file");
}

TEST_F(StoreFault, ALinkInItsPlace) {
    put(whole_);
    fs::rename(path(), folder() + "/elsewhere.db");
    fs::create_symlink(folder() + "/elsewhere.db", path());
    expectRefusal("home.db");
    EXPECT_EQ(contentsOf(folder() + "/elsewhere.db"), whole_.database);
}

/// In a child, whose alarm ends it where it hangs.
int openInChild(SqliteHome& home) {
    return contract::resultOfChild([&home] {
        alarm(10);
        return SqliteStore::open(home.options()).isOk() ? 0 : 1;
    });
}

TEST_F(StoreFault, APipeInItsPlace) {
    put({});
    fs::remove(path());
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(openInChild(home_), 1) << "an error, and no waiting for somebody who writes";
}

TEST_F(StoreFault, APipeInThePlaceOfItsLog) {
    put(whole_);
    ASSERT_EQ(::mkfifo((path() + "-wal").c_str(), 0600), 0);
    EXPECT_EQ(
        contract::resultOfChild([&] {
            alarm(10);
            const auto memory = home_.openMemory();
            return memory == nullptr || !memory->appendToOutbox("client", {900, "t", "new", false}) ? 0 : 1;
        }),
        0)
        << "an error, and no YES to what goes nowhere";
    fs::remove(path() + "-wal");
    expectWhole();
}

TEST_F(StoreFault, ASocketInItsPlace) {
    put({});
    fs::remove(path());
    const int made = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path().copy(static_cast<char*>(address.sun_path), sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    expectRefusal("home.db");
    ::close(made);
}

TEST_F(StoreFault, TwoOwnersInOneProcess) {
    put(whole_);
    const auto first = SqliteStore::open(home_.options());
    ASSERT_TRUE(first.isOk());
    expectRefusal("is in use by another process");
}

TEST_F(StoreFault, AnOwnerThatIsStopped) {
    put(whole_);
    std::array<int, 2> ready{};
    ASSERT_EQ(::pipe(ready.data()), 0);
    const pid_t owner = contract::startChild([&]() -> int {
        const auto store = SqliteStore::open(home_.options());
        (void)!::write(ready[1], "x", 1);
        raise(SIGSTOP);
        return store.isOk() ? 0 : 1;
    });
    char octet = 0;
    ASSERT_EQ(::read(ready[0], &octet, 1), 1);
    int status = 0;
    ::waitpid(owner, &status, WUNTRACED);
    expectRefusal("is in use by another process (pid " + std::to_string(owner));
    ::kill(owner, SIGKILL);
    EXPECT_EQ(contract::statusOf(owner), -SIGKILL);
    expectWhole();
    ::close(ready[0]);
    ::close(ready[1]);
}

/// How many publications a child stored whose files could not grow beyond the size: killed there, or
/// told of it.
int publicationsStoredUpTo(SqliteHome& home, rlim_t size, bool dies, const std::string& counterPath) {
    const int outcome = contract::resultOfChild([&]() -> int {
        std::signal(SIGXFSZ, dies ? SIG_DFL : SIG_IGN);
        const auto memory = home.openMemory();
        if (memory == nullptr) {
            return 1;
        }
        const rlimit limit{size, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &limit);
        const int counter = ::open(counterPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        for (std::uint16_t id = 100; id < 140; ++id) {
            if (!memory->appendToOutbox("client", {id, "t", std::string(200, 'n'), false})) {
                return 2;
            }
            (void)!::pwrite(counter, &id, sizeof id, 0);
        }
        return 0;
    });
    EXPECT_TRUE(outcome == 0 || outcome == 2 || outcome == -SIGXFSZ) << outcome;
    const std::string counted = contentsOf(counterPath).value_or("");
    return counted.size() == 2
               ? static_cast<unsigned char>(counted[0]) + 256 * static_cast<unsigned char>(counted[1]) - 99
               : 0;
}

struct LimitRow {
    const char* name;
    bool dies;
    std::size_t step;  // frames between two limits
};

class StoreAtItsLimit : public StoreFault, public testing::WithParamInterface<LimitRow> {};

// The size at which a write fails wanders through the frames of the log.
TEST_P(StoreAtItsLimit, KeepsWhatItHadAnsweredYesTo) {
    const LimitRow& row = GetParam();
    int shortOfRoom = 0;
    for (std::size_t frames = 1; frames < 60; frames += row.step) {
        for (const std::size_t more : {std::size_t{0}, std::size_t{11}, std::size_t{24}, std::size_t{600}}) {
            put(whole_);
            const auto size = static_cast<rlim_t>(kLogHeader + frames * kFrame + more);
            const int answeredYes = publicationsStoredUpTo(home_, size, row.dies, folder() + "/counter");
            shortOfRoom += answeredYes < 40 ? 1 : 0;
            const auto store = SqliteStore::open(home_.options());
            ASSERT_TRUE(store.isOk()) << size << ": " << store.error().localizedDescription();
            EXPECT_FALSE(store.value()->damageReport().has_value()) << size;
            const auto outbox =
                SqliteSessionMemory::load(store.value()).value()->loadOutbox("client").value();
            EXPECT_GE(outbox.size(), static_cast<std::size_t>(kPublications + answeredYes)) << size;
            EXPECT_LE(outbox.size(), static_cast<std::size_t>(kPublications + answeredYes + 1)) << size;
        }
    }
    EXPECT_GT(shortOfRoom, 10) << "the limit was never met";
}

constexpr LimitRow kLimits[] = {{"AFullDisk", false, 14}, {"AProcessKilledInAWrite", true, 14}};
constexpr LimitRow kLongLimits[] = {{"AFullDisk", false, 1}, {"AProcessKilledInAWrite", true, 1}};
INSTANTIATE_TEST_SUITE_P(AtSomeSizes, StoreAtItsLimit, testing::ValuesIn(kLimits),
                         [](const auto& row) { return std::string(row.param.name); });
INSTANTIATE_TEST_SUITE_P(LongAtEachSize, StoreAtItsLimit, testing::ValuesIn(kLongLimits),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace xel::matrix
