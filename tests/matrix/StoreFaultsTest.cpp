// A store on a real disk that somebody, or the disk, has damaged: what is promised is that it opens or
// says why, never that it crashes or hangs, and that what cannot be read is set aside and never
// overwritten.

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "XelPushClient/Linux/Store/JournalFormat.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Process/ChildOfTest.h"
#include "tests/contract/Store/FileContents.h"

namespace xel::matrix {
namespace {

namespace fs = std::filesystem;
using contract::contentsOf;
using contract::HomeOnDisk;
using contract::replaceContents;

constexpr std::size_t kPage = 4096;
constexpr int kPublications = 25;

class StoreFault : public testing::Test {
protected:
    StoreFault() {
        const int killed = contract::resultOfChild([this]() -> int {
            const auto home = home_.open();
            if (fill(home)) {
                raise(SIGKILL);
            }
            return 1;
        });
        EXPECT_EQ(killed, -SIGKILL);
        withJournal_ = filesNow();
        EXPECT_GT(withJournal_.journal.size(), 300U * kPublications);
        fs::remove_all(folder());
        EXPECT_TRUE(fill(home_.open()));
        whole_ = filesNow();
        EXPECT_TRUE(whole_.journal.empty());
    }

    static bool fill(const StoredHome& home) {
        home.defaults->setObject("userId", "alice01");
        bool isStored = home.defaults->synchronize();
        for (std::uint16_t id = 1; id <= kPublications; ++id) {
            isStored = home.memory->appendToOutbox("client", {id, "topic", std::string(300, 'p'), false}) &&
                       isStored;
        }
        return isStored;
    }

    struct Files {
        std::string database;
        std::string journal;  // empty: none
    };

    [[nodiscard]] std::string path() { return home_.databasePath(); }
    [[nodiscard]] std::string folder() { return home_.options().folder; }
    [[nodiscard]] std::string journal() { return home_.basePath() + ".journal"; }

    [[nodiscard]] Files filesNow() {
        return {contentsOf(path()).value_or(""), contentsOf(journal()).value_or("")};
    }

    void put(const Files& files) {
        fs::remove_all(folder());
        fs::create_directories(folder());
        fs::permissions(folder(), fs::perms::owner_all);
        replaceContents(path(), files.database);
        if (!files.journal.empty()) {
            replaceContents(journal(), files.journal);
        }
    }

    /// Opens the store on these files, reads all of it and writes to it. What was stored is there, or
    /// the store says that it is not; what was never stored is not there.
    void expectToGoOn(const Files& files, const std::string& what) {
        put(files);
        SCOPED_TRACE(what);
        const auto opened = HomeStore::open(home_.options());
        if (!opened) {
            EXPECT_NE(opened.error().localizedDescription().find(path()), std::string::npos)
                << opened.error().localizedDescription();
            EXPECT_EQ(contentsOf(path()), files.database) << "what it refuses it leaves as it is";
            ++refused_;
            return;
        }
        setAside_ += home_.filesSetAside().empty() ? 0 : 1;
        EXPECT_TRUE(home_.filesSetAside().empty() || !home_.problems().empty())
            << "what is set aside is told";
        const auto home = openStoredHome(opened.value()).value();
        const auto outbox = home.memory->loadOutbox("client");
        const std::size_t found = outbox ? outbox.value().size() : 0;
        kept_ += found == kPublications ? 1 : 0;
        fewest_ = std::min(fewest_, found);
        for (const OutboxEntry& entry : outbox ? outbox.value() : std::vector<OutboxEntry>()) {
            EXPECT_EQ(entry, (OutboxEntry{entry.packetId, "topic", std::string(300, 'p'), false}));
        }
        EXPECT_EQ(home.defaults->stringForKey("userId").value_or("alice01"), "alice01");
        (void)home.memory->loadGrantedTopics("client");
        home.defaults->setObject("userId", "bob");
        const bool isWritten = home.defaults->synchronize();
        const bool isAppended = home.memory->appendToOutbox("client", {999, "t", "new", false}).isOk();
        EXPECT_TRUE((isWritten && isAppended) || !home_.problems().empty()) << "a failure is told";
    }

    /// The store says that it cannot be opened, and leaves what is there.
    void expectRefusal(const std::string& words) {
        const auto opened = HomeStore::open(home_.options());
        ASSERT_FALSE(opened.isOk());
        EXPECT_NE(opened.error().localizedDescription().find(words), std::string::npos)
            << opened.error().localizedDescription();
    }

    void expectWhole() {
        const auto store = HomeStore::open(home_.options());
        ASSERT_TRUE(store.isOk()) << store.error().localizedDescription();
        EXPECT_FALSE(store.value()->damageReport().has_value());
        const auto home = openStoredHome(store.value()).value();
        EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
        EXPECT_EQ(home.memory->loadOutbox("client").value().size(), kPublications);
    }

    HomeOnDisk home_;
    Files withJournal_;  // all of it in the journal
    Files whole_;        // all of it in the database
    int refused_ = 0;
    int setAside_ = 0;
    int kept_ = 0;
    std::size_t fewest_ = kPublications;  // publications that were found
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
    for (std::size_t at = 0; at < std::min(whole_.database.size(), 2 * kPage); ++at) {
        std::string octets = whole_.database;
        octets[at] = static_cast<char>(octets[at] ^ 0x81);
        expectToGoOn({octets, {}}, "flipped at " + std::to_string(at));
    }
}

TEST_F(StoreFault, JournalCutAnywhere) {
    for (std::size_t size = 0; size < withJournal_.journal.size(); size += 97) {
        expectToGoOn({withJournal_.database, withJournal_.journal.substr(0, size)},
                     "journal cut at " + std::to_string(size));
    }
    EXPECT_EQ(kept_, 0) << "a part is not the whole";
    EXPECT_EQ(refused_, 0);
}

TEST_F(StoreFault, EachStretchOfTheJournalOfZeros) {
    constexpr std::size_t kStretch = 100;
    for (std::size_t at = kJournalHeaderSize; at + kStretch <= withJournal_.journal.size(); at += kStretch) {
        std::string octets = withJournal_.journal;
        octets.replace(at, kStretch, std::string(kStretch, '\0'));
        expectToGoOn({withJournal_.database, octets}, "zeros at " + std::to_string(at));
    }
    EXPECT_EQ(refused_, 0);
    EXPECT_GE(fewest_, kPublications - 2U) << "what stands behind it is still read";
}

TEST_F(StoreFault, AFlippedBitAnywhereInTheJournal) {
    for (std::size_t at = 0; at < withJournal_.journal.size(); at += 31) {
        std::string octets = withJournal_.journal;
        octets[at] = static_cast<char>(octets[at] ^ 0x04);
        expectToGoOn({withJournal_.database, octets}, "flipped at " + std::to_string(at));
    }
    EXPECT_EQ(refused_, 0);
    EXPECT_GE(fewest_, kPublications - 1U) << "one record at the most";
}

TEST_F(StoreFault, WithoutItsJournal) {
    expectToGoOn({withJournal_.database, {}}, "without its journal");
    EXPECT_EQ(refused_, 0);
}

TEST_F(StoreFault, WithTheJournalOfAnotherStore) {
    expectToGoOn({whole_.database, withJournal_.journal}, "another store's journal");
    EXPECT_EQ(kept_, 1);
    EXPECT_EQ(setAside_, 1);
}

TEST_F(StoreFault, WithAJournalOfGarbage) {
    put({whole_.database, std::string(5000, '\x5A')});
    expectWhole();
    EXPECT_EQ(home_.filesSetAside().size(), 1U);
}

TEST_F(StoreFault, WithALogOfGarbageBesideIt) {
    put(withJournal_);
    replaceContents(path() + "-wal", std::string(32768, '\x5A'));
    replaceContents(path() + "-shm", std::string(32768, '\x5A'));
    expectWhole();
}

TEST_F(StoreFault, WithARollbackJournalOfGarbageBesideIt) {
    put(withJournal_);
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

TEST_F(StoreFault, AFolderInThePlaceOfItsJournal) {
    put(whole_);
    fs::create_directory(journal());
    expectRefusal("home.journal");
    EXPECT_EQ(contentsOf(path()), whole_.database);
    fs::remove(journal());
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
int openInChild(HomeOnDisk& home) {
    return contract::resultOfChild([&home] {
        alarm(10);
        return HomeStore::open(home.options()).isOk() ? 0 : 1;
    });
}

TEST_F(StoreFault, APipeInItsPlace) {
    put({});
    fs::remove(path());
    ASSERT_EQ(::mkfifo(path().c_str(), 0600), 0);
    EXPECT_EQ(openInChild(home_), 1) << "an error, and no waiting for somebody who writes";
}

TEST_F(StoreFault, APipeInThePlaceOfItsJournal) {
    put(whole_);
    ASSERT_EQ(::mkfifo(journal().c_str(), 0600), 0);
    EXPECT_EQ(openInChild(home_), 1) << "an error, and no YES to what goes nowhere";
    fs::remove(journal());
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
    const auto first = HomeStore::open(home_.options());
    ASSERT_TRUE(first.isOk());
    expectRefusal("is in use by another process");
}

TEST_F(StoreFault, AnOwnerThatIsStopped) {
    put(whole_);
    std::array<int, 2> ready{};
    ASSERT_EQ(::pipe(ready.data()), 0);
    const pid_t owner = contract::startChild([&]() -> int {
        const auto store = HomeStore::open(home_.options());
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
int publicationsStoredUpTo(HomeOnDisk& home, rlim_t size, bool dies, const std::string& counterPath) {
    const int outcome = contract::resultOfChild([&]() -> int {
        std::signal(SIGXFSZ, dies ? SIG_DFL : SIG_IGN);
        const auto memory = home.open().memory;
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
    rlim_t step;  // octets between two limits
};

class StoreAtItsLimit : public StoreFault, public testing::WithParamInterface<LimitRow> {};

// The size at which a write fails wanders through the records of the journal.
TEST_P(StoreAtItsLimit, KeepsWhatItHadAnsweredYesTo) {
    const LimitRow& row = GetParam();
    int shortOfRoom = 0;
    for (rlim_t size = kJournalHeaderSize; size < 11'000; size += row.step) {
        put(whole_);
        const int answeredYes = publicationsStoredUpTo(home_, size, row.dies, folder() + "/counter");
        shortOfRoom += answeredYes < 40 ? 1 : 0;
        const auto store = HomeStore::open(home_.options());
        ASSERT_TRUE(store.isOk()) << size << ": " << store.error().localizedDescription();
        EXPECT_TRUE(home_.problems().empty()) << size;
        const auto outbox = openStoredHome(store.value()).value().memory->loadOutbox("client").value();
        EXPECT_GE(outbox.size(), static_cast<std::size_t>(kPublications + answeredYes)) << size;
        EXPECT_LE(outbox.size(), static_cast<std::size_t>(kPublications + answeredYes + 1)) << size;
    }
    EXPECT_GT(shortOfRoom, 10) << "the limit was never met";
}

constexpr LimitRow kLimits[] = {{"AFullDisk", false, 331}, {"AProcessKilledInAWrite", true, 331}};
constexpr LimitRow kLongLimits[] = {{"AFullDisk", false, 7}, {"AProcessKilledInAWrite", true, 7}};
INSTANTIATE_TEST_SUITE_P(AtSomeSizes, StoreAtItsLimit, testing::ValuesIn(kLimits),
                         [](const auto& row) { return std::string(row.param.name); });
INSTANTIATE_TEST_SUITE_P(LongAtEachSize, StoreAtItsLimit, testing::ValuesIn(kLongLimits),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace xel::matrix
