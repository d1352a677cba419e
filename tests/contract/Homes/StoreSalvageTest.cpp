// A damaged store is salvaged home by home: what comes back is what was stored, and what does not is told.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Homes/ManyHomes.h"
#include "tests/contract/Process/ChildOfTest.h"
#include "tests/contract/Store/FailingSqliteCall.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/SqliteFile.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Names = std::vector<std::string>;

/// Pages of a kind, by their first octet: 2 and 5 lead to others, of an index and of a table.
std::vector<std::size_t> pagesOfKind(const std::string& octets, char kind) {
    std::vector<std::size_t> pages;
    for (std::size_t at = ManyHomes::kPage; at < octets.size(); at += ManyHomes::kPage) {
        if (octets[at] == kind) {
            pages.push_back(at / ManyHomes::kPage);
        }
    }
    return pages;
}

class StoreSalvageTest : public testing::Test {
protected:
    void fill(int count) {
        many_.fill(count);
        whole_ = many_.octets();
    }

    /// Opens the store on these octets and compares what is there.
    ManyHomes::Outcome salvage(const std::string& octets) {
        many_.put(octets);
        store_ = HomeStore::open(many_.options()).value();
        EXPECT_TRUE(store_->damageReport().has_value());
        const auto aside = many_.filesSetAside();
        EXPECT_EQ(aside.size(), 1U);
        EXPECT_TRUE(contentsOf(aside.front()).value() == octets) << "it is only read";
        return many_.compare(store_);
    }

    [[nodiscard]] std::string report() const { return store_->damageReport()->localizedDescription(); }

    ManyHomes many_;
    std::string whole_;
    std::shared_ptr<HomeStore> store_;
};

TEST_F(StoreSalvageTest, LosesTheHomeOnADamagedPageAndKeepsTheOthers) {
    fill(60);
    // A page of settings has parts of two homes, or of three.
    std::string octets = whole_;
    ManyHomes::spoil(octets, ManyHomes::pageOf(octets, "mark31."));
    const auto outcome = salvage(octets);
    EXPECT_THAT(outcome.lost, testing::Contains("home31"));
    EXPECT_LE(outcome.lost.size(), 6U);
    EXPECT_TRUE(outcome.partial.empty());
    EXPECT_EQ(outcome.whole.size() + outcome.lost.size(), 60U);
    EXPECT_THAT(report(), HasSubstr("set aside as " + many_.filesSetAside().front()));
    EXPECT_THAT(report(),
                HasSubstr("with " + std::to_string(outcome.whole.size()) + " of its 60 homes whole"));
    EXPECT_EQ(many_.problems().size(), 1 + outcome.lost.size()) << "a line each";
    for (const std::string& name : outcome.lost) {
        EXPECT_THAT(report(),
                    HasSubstr("the home \"" + name + "\" of the store " + many_.path() + " is lost"));
    }
    store_.reset();
    store_ = HomeStore::open(many_.options()).value();
    EXPECT_FALSE(store_->damageReport().has_value()) << "once only";
    EXPECT_EQ(many_.compare(store_).whole, outcome.whole);
}

TEST_F(StoreSalvageTest, LosesOnlyTheHomeWithAnOctetChangedInAValueBesideAPageThatIsDamaged) {
    fill(60);
    std::string octets = whole_;
    octets[octets.find("mark7.") + 100] ^= 1;
    octets[octets.find("user9") + 4] ^= 1;  // "user8": as plausible as the other one
    // Nothing of any home is on that page: it leads to the index of names only.
    ManyHomes::spoil(octets, 2);
    const auto outcome = salvage(octets);
    EXPECT_EQ(outcome.lost, (Names{"home7", "home9"}));
    EXPECT_EQ(outcome.whole.size(), 58U);
}

TEST_F(StoreSalvageTest, ReadsAnOctetThatWasChangedInAValueAsDamagedWhereTheRestIsSound) {
    fill(10);
    std::string octets = whole_;
    octets[octets.find("mark3.") + 100] ^= 1;
    octets[octets.find("payload 4") + 50] ^= 1;
    octets[octets.find("topic/6")] ^= 1;
    many_.put(octets);
    store_ = HomeStore::open(many_.options()).value();
    EXPECT_FALSE(store_->damageReport().has_value());
    const auto three = openStoredHome(store_, "home3").value();
    EXPECT_EQ(three.defaults->objectForKey("marker"), std::nullopt);
    EXPECT_EQ(three.defaults->stringForKey("userId"), "user3");
    const auto outbox = openStoredHome(store_, "home4").value().memory->loadOutbox("client").value();
    EXPECT_EQ(outbox.size(), many_.homes().at("home4").outbox.size() - 1);
    EXPECT_TRUE(openStoredHome(store_, "home6").value().memory->loadGrantedTopics("client").value().empty());
    EXPECT_EQ(many_.problems().size(), 3U);
}

TEST_F(StoreSalvageTest, LosesAllWhereTheListOfTablesIsDamaged) {
    fill(30);
    std::string octets = whole_;
    std::fill(octets.begin() + 100, octets.begin() + ManyHomes::kPage, '\x5A');
    const auto outcome = salvage(octets);
    EXPECT_EQ(outcome.lost.size(), 30U);
    EXPECT_THAT(report(), HasSubstr("a new one made without a home: none of it can be read"));
    EXPECT_EQ(many_.problems().size(), 1U);
}

TEST_F(StoreSalvageTest, TellsTwentyHomesByNameAndHowManyMore) {
    fill(60);
    std::string octets = whole_;
    octets.replace(octets.find("defaults(home"), 8, "defaultz");
    const auto outcome = salvage(octets);
    EXPECT_EQ(outcome.lost.size(), 60U);
    EXPECT_EQ(many_.problems().size(), 22U);
    EXPECT_EQ(many_.problems().back().localizedDescription(), "and 40 more homes of it");
    const std::string all = report();
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 21);
}

TEST_F(StoreSalvageTest, LosesWhatAPageLeadsToAndKeepsTheOthers) {
    fill(400);
    int tables = 0;
    for (const char kind : {'\x02', '\x05'}) {
        for (const std::size_t page : pagesOfKind(whole_, kind)) {
            std::string octets = whole_;
            ManyHomes::spoil(octets, page);
            SCOPED_TRACE(page);
            const auto outcome = salvage(octets);
            EXPECT_EQ(outcome.whole.size() + outcome.lost.size() + outcome.partial.size(), 400U);
            ++tables;
            store_.reset();
            fs::remove(many_.filesSetAside().front());
        }
    }
    EXPECT_GE(tables, 4) << "settings, clients, homes, outbox";
}

TEST_F(StoreSalvageTest, FindsHomesByTheIndexAndByTheTable) {
    fill(400);
    // Of two pages of the same, one after the other: names are read from the index, and numbers from there.
    const std::vector<std::size_t> pages = pagesOfKind(whole_, '\x0D');
    std::size_t spoilt = 0;
    for (const std::size_t page : pages) {
        const auto homes = std::string_view(whole_).substr(page * ManyHomes::kPage, ManyHomes::kPage);
        if (homes.find("home") == std::string_view::npos || homes.find("client") != std::string_view::npos) {
            continue;
        }
        std::string octets = whole_;
        ManyHomes::spoil(octets, page);
        const auto outcome = salvage(octets);
        EXPECT_FALSE(outcome.lost.empty());
        EXPECT_GT(outcome.whole.size(), 200U);
        EXPECT_THAT(report(), testing::Not(HasSubstr("names cannot be read")));
        EXPECT_THAT(report(), HasSubstr("of its 400 homes"));
        store_.reset();
        fs::remove(many_.filesSetAside().front());
        ++spoilt;
    }
    EXPECT_GE(spoilt, 3U);
}

TEST_F(StoreSalvageTest, KeepsAHomeWhoseIndexNamesItOtherwise) {
    fill(30);
    std::string octets = whole_;
    // The later one of two is the index's: its page was made behind the table's.
    const std::size_t inIndex =
        octets.find("home17", (octets.find("home17") / ManyHomes::kPage + 1) * ManyHomes::kPage);
    octets[inIndex + 5] = '!';
    const auto outcome = salvage(octets);
    EXPECT_EQ(outcome.whole.size(), 30U);
    EXPECT_EQ(many_.problems().size(), 1U);
}

TEST_F(StoreSalvageTest, LosesThePublicationsOfADamagedPageAndKeepsThoseOnBothSides) {
    auto& home = many_.homes()["home"];
    home.settings["userId"] = "alice01";
    for (std::uint16_t id = 1; id <= 60; ++id) {
        home.outbox.push_back(
            {id, "topic", "publication " + std::to_string(id) + "." + std::string(300, 'p')});
    }
    many_.write(HomeStore::open(many_.options()).value(), "home");
    std::string octets = many_.octets();
    ManyHomes::spoil(octets, ManyHomes::pageOf(octets, "publication 30."));
    EXPECT_EQ(salvage(octets).partial, Names{"home"});
    const auto left = openStoredHome(store_, "home").value().memory->loadOutbox("client").value();
    EXPECT_GE(left.size(), 45U);
    EXPECT_EQ(left.front().packetId, 1);
    EXPECT_EQ(left.back().packetId, 60);
    EXPECT_THAT(report(), HasSubstr("the home \"home\" of the store " + many_.path() +
                                    " has lost what it had to send"));
}

TEST_F(StoreSalvageTest, IsNeverWrongWhereTheFileIsCut) {
    fill(40);
    for (std::size_t size = ManyHomes::kPage; size < whole_.size(); size += 3 * ManyHomes::kPage + 500) {
        SCOPED_TRACE(size);
        (void)salvage(whole_.substr(0, size));
        store_.reset();
        fs::remove(many_.filesSetAside().front());
    }
}

TEST_F(StoreSalvageTest, NeverMixesHomesWhereAPageIsAnotherOne) {
    fill(40);
    std::mt19937 random(4711);
    const std::size_t pages = whole_.size() / ManyHomes::kPage;
    std::size_t kept = 0;
    for (int i = 0; i < 60; ++i) {
        std::string octets = whole_;
        const std::size_t from = random() % pages;
        const std::size_t to = 1 + random() % (pages - 1);
        octets.replace(to * ManyHomes::kPage, ManyHomes::kPage, whole_, from * ManyHomes::kPage,
                       ManyHomes::kPage);
        SCOPED_TRACE(std::to_string(to) + " is " + std::to_string(from));
        many_.put(octets);
        store_ = HomeStore::open(many_.options()).value();
        kept += many_.compare(store_).whole.size();
        store_.reset();
    }
    EXPECT_GT(kept, 60U * 30U);
}

TEST_F(StoreSalvageTest, IsNeverWrongWhereOctetsAreChangedAnywhere) {
    fill(40);
    int refused = 0;
    std::size_t kept = 0;
    constexpr int kSeeds = 150;
    for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::string octets = whole_;
        for (auto left = 1 + random() % 12; left > 0; --left) {
            octets[random() % octets.size()] ^= static_cast<char>(1 + random() % 255);
        }
        many_.put(octets);
        const auto opened = HomeStore::open(many_.options());
        if (!opened) {
            EXPECT_TRUE(many_.octets() == octets);
            ++refused;
            continue;
        }
        kept += many_.compare(opened.value()).whole.size();
    }
    EXPECT_LT(refused, kSeeds / 5);
    EXPECT_GT(kept, kSeeds * 25U);
}

// ---- The journal beside it.

TEST_F(StoreSalvageTest, BringsTheJournalIntoTheHomesThatAreKeptAndIntoNoHalfOne) {
    fill(30);
    const int killed = resultOfChild([this]() -> int {
        const auto store = HomeStore::open(many_.options()).value();
        std::vector<StoredHome> homes;
        for (const char* const name : {"home11", "home20", "new"}) {
            homes.push_back(openStoredHome(store, name).value());
            const std::string_view added[] = {"c"};
            homes.back().defaults->appendToArray("messageIds", added, 25);
            if (!homes.back().defaults->synchronize() ||
                !homes.back().memory->appendToOutbox("client", {999, "t", "later", false})) {
                return 1;
            }
        }
        raise(SIGKILL);
        return 2;
    });
    ASSERT_EQ(killed, -SIGKILL);
    std::string octets = many_.octets();
    ManyHomes::spoil(octets, ManyHomes::pageOf(octets, "mark20."));
    many_.homes().at("home11").settings["messageIds"] = Array{Value("a11"), Value("b11"), Value("c")};
    many_.homes().at("home11").outbox.push_back({999, "t", "later", false});
    many_.homes()["new"].settings["messageIds"] = Array{Value("c")};
    many_.homes()["new"].outbox.push_back({999, "t", "later", false});
    const auto outcome = salvage(octets);
    EXPECT_THAT(outcome.lost, testing::Contains("home20"));
    EXPECT_THAT(outcome.whole, testing::Contains("home11"));
    EXPECT_THAT(outcome.whole, testing::Contains("new"));
}

TEST_F(StoreSalvageTest, BringsNoRunInTwiceWhereTheRowOfTheJournalIsGone) {
    fill(5);
    const int killed = resultOfChild([this]() -> int {
        const auto home = openStoredHome(HomeStore::open(many_.options()).value(), "home1").value();
        const std::string_view added[] = {"c"};
        home.defaults->appendToArray("messageIds", added, 25);
        (void)home.defaults->synchronize();
        raise(SIGKILL);
        return 1;
    });
    ASSERT_EQ(killed, -SIGKILL);
    const std::string journalPath = many_.disk().basePath() + ".journal";
    const std::string journal = contentsOf(journalPath).value();
    HomeStore::open(many_.options()).value().reset();
    many_.homes().at("home1").settings["messageIds"] = Array{Value("a1"), Value("b1"), Value("c")};
    // The last table that was made, and the only one of one row: its page is the sixth or later.
    sqlite3* database = nullptr;
    int page = 0;
    ASSERT_EQ(sqlite3_open(many_.path().c_str(), &database), SQLITE_OK);
    sqlite3_exec(
        database, "SELECT rootpage FROM sqlite_schema WHERE name='journal'",
        [](void* found, int, char** values, char**) {
            *static_cast<int*>(found) = std::atoi(values[0]);
            return 0;
        },
        &page, nullptr);
    sqlite3_close(database);
    ASSERT_GT(page, 1);
    std::string octets = many_.octets();
    ManyHomes::spoil(octets, static_cast<std::size_t>(page) - 1);
    replaceContents(journalPath, journal);
    EXPECT_EQ(salvage(octets).whole.size(), 5U);
}

// ---- What fails meanwhile.

TEST_F(StoreSalvageTest, LeavesTheDamagedFileAsItIsWhereTheNewOneCannotBeWritten) {
    fill(20);
    std::string octets = whole_;
    ManyHomes::spoil(octets, ManyHomes::pageOf(octets, "mark5."));
    many_.put(octets);
    many_.disk().setFailingCommits(true);
    EXPECT_FALSE(HomeStore::open(many_.options()));
    many_.disk().setFailingCommits(false);
    EXPECT_TRUE(many_.octets() == octets);
    EXPECT_TRUE(many_.filesSetAside().empty());
    EXPECT_GT(salvage(octets).whole.size(), 12U);
}

TEST_F(StoreSalvageTest, TakesAPageThatCouldNotBeReadOnceForNoDamage) {
    fill(20);
    std::string octets = whole_;
    ManyHomes::spoil(octets, ManyHomes::pageOf(octets, "mark5."));
    many_.put(octets);
    const auto expected = salvage(octets);
    store_.reset();
    int failures = 0;
    bool hasFailed = true;
    for (int number = 1; hasFailed; ++number) {
        SCOPED_TRACE(number);
        for (const std::string& file : many_.filesSetAside()) {
            fs::remove(file);
        }
        many_.put(octets);
        {
            const FailingSqliteCall<&::pread, EIO> failing({"pread", "pread64"}, number);
            const auto opened = HomeStore::open(many_.options());
            hasFailed = failing.hasFailed();
            if (opened && hasFailed) {
                EXPECT_EQ(many_.compare(opened.value()).whole, expected.whole)
                    << many_.problems().back().localizedDescription();
                continue;
            }
        }
        if (hasFailed) {
            ++failures;
            if (many_.filesSetAside().empty()) {
                EXPECT_TRUE(many_.octets() == octets);
                EXPECT_EQ(salvage(octets).whole, expected.whole);
            } else {
                store_ = HomeStore::open(many_.options()).value();
                EXPECT_EQ(many_.compare(store_).whole, expected.whole) << "it had taken its place already";
            }
            store_.reset();
        }
    }
    EXPECT_GT(failures, 10);
}

TEST_F(StoreSalvageTest, EndsWhatAKillHasInterrupted) {
    fill(10);
    // Killed while the new one was made, and between the two names.
    std::ofstream(many_.path() + ".new") << "half";
    std::ofstream(many_.path() + ".made") << "whole, but the damaged one is still there";
    store_ = HomeStore::open(many_.options()).value();
    EXPECT_EQ(many_.compare(store_).whole.size(), 10U);
    store_.reset();
    EXPECT_FALSE(fs::exists(many_.path() + ".new"));
    EXPECT_FALSE(fs::exists(many_.path() + ".made"));
    fs::rename(many_.path(), many_.path() + ".made");
    store_ = HomeStore::open(many_.options()).value();
    EXPECT_EQ(many_.compare(store_).whole.size(), 10U);
    ASSERT_EQ(many_.problems().size(), 1U);
    EXPECT_EQ(many_.problems().front(), *store_->damageReport());
    EXPECT_THAT(report(), HasSubstr("without having told which homes are lost"));
}

TEST_F(StoreSalvageTest, LosesNothingMoreWhereTheProcessIsKilledInAWriteOfIt) {
    fill(20);
    std::string octets = whole_;
    ManyHomes::spoil(octets, ManyHomes::pageOf(octets, "mark5."));
    const auto expected = salvage(octets);
    store_.reset();
    fs::remove(many_.filesSetAside().front());
    int kills = 0;
    for (std::size_t size = 0; size < octets.size(); size += 2 * ManyHomes::kPage) {
        SCOPED_TRACE(size);
        many_.put(octets);
        const int ended = resultOfChild([&]() -> int {
            std::signal(SIGXFSZ, SIG_DFL);  // the write that goes beyond the limit ends the process
            const rlimit limit{size, size};
            setrlimit(RLIMIT_FSIZE, &limit);
            return HomeStore::open(many_.options()) ? 0 : 1;
        });
        if (ended != -SIGXFSZ) {
            break;
        }
        ++kills;
        EXPECT_TRUE(many_.octets() == octets) << "it is only read";
        EXPECT_EQ(salvage(octets).whole, expected.whole);
        store_.reset();
        fs::remove(many_.filesSetAside().front());
        EXPECT_EQ(std::distance(fs::directory_iterator(many_.options().folder), {}), 2) << "it and its lock";
    }
    EXPECT_GT(kills, 5);
}

// ---- Rows that are wrong where SQLite finds nothing.

TEST_F(StoreSalvageTest, TakesWhatIsNewIntoAHomeWhoseRowIsWrongAndBehindARowOfTheJournalThatIsGone) {
    for (const char* const damage : {"UPDATE homes SET run=1000", "DELETE FROM journal",
                                     "DELETE FROM journal; UPDATE homes SET run=1000"}) {
        SCOPED_TRACE(damage);
        fs::remove(many_.path());
        many_.homes().clear();
        fill(3);
        executeOn(many_.path(), damage);
        many_.homes().at("home1").settings["userId"] = "new";
        many_.write(HomeStore::open(many_.options()).value(), "home1");
        store_ = HomeStore::open(many_.options()).value();
        EXPECT_EQ(many_.compare(store_).whole.size(), 3U);
        EXPECT_TRUE(many_.problems().empty()) << many_.problems().front().localizedDescription();
        store_.reset();
    }
}

}  // namespace
}  // namespace xel::contract
