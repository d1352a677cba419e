// A store whose database or journal has been damaged: what is told, what is set aside, and what is kept.

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Homes/FilledStoreTest.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/SqliteFile.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;

class DamagedStoreTest : public FilledStoreTest {
protected:
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
};

TEST_F(DamagedStoreTest, SetsAsideAFileThatIsNoDatabase) {
    fill();
    replaceContents(home_.databasePath(), "this was never a database, and it is long enough to tell");
    expectSetAsideAndNew();
}

TEST_F(DamagedStoreTest, SetsAsideADatabaseThatIsCutShortAndKeepsWhatIsLeft) {
    fill();
    fs::resize_file(home_.databasePath(), fs::file_size(home_.databasePath()) / 2);
    expectSetAsideAndSalvaged(1, 60);
}

TEST_F(DamagedStoreTest, SetsAsideADatabaseWithDamagedPages) {
    fill();
    std::string octets = contentsOf(home_.databasePath()).value();
    std::fill(octets.begin() + 1024, octets.begin() + 20 * 1024, '\x5A');
    replaceContents(home_.databasePath(), octets);
    expectSetAsideAndNew();
}

TEST_F(DamagedStoreTest, KeepsWhatTheJournalHoldsBesideADamagedDatabase) {
    fillAndDie();
    replaceContents(home_.databasePath(), "this was never a database, and it is long enough to tell");
    const auto opened = HomeStore::open(home_.options());
    ASSERT_TRUE(opened.isOk());
    EXPECT_TRUE(opened.value()->damageReport().has_value());
    EXPECT_EQ(home_.filesSetAside().size(), 1U);
    const auto home = openStoredHome(opened.value()).value();
    EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
    EXPECT_EQ(home.memory->loadOutbox("client").value().size(), 100U);
}

TEST_F(DamagedStoreTest, SaysThatItsDatabaseIsGoneButItsJournalIsNot) {
    fill();
    fillAndDie();
    fs::resize_file(home_.databasePath(), 0);
    EXPECT_EQ(home_.open().memory->loadOutbox("client").value().size(), 100U) << "they were written again";
    ASSERT_EQ(home_.problems().size(), 1U);
    EXPECT_EQ(home_.problems().front().code, static_cast<std::int64_t>(StoreErrorCode::Damaged));
}

TEST_F(DamagedStoreTest, IsExaminedWithoutBeingChanged) {
    fill();
    EXPECT_TRUE(HomeStore::examine(home_.options().folder).isOk());
    const auto before = contentsOf(home_.databasePath());
    EXPECT_TRUE(HomeStore::examine(home_.options().folder).isOk());
    EXPECT_EQ(contentsOf(home_.databasePath()), before);
    replaceContents(home_.databasePath(), "this was never a database, and it is long enough to tell");
    EXPECT_FALSE(HomeStore::examine(home_.options().folder).isOk());
    EXPECT_TRUE(home_.filesSetAside().empty());
    EXPECT_TRUE(home_.problems().empty());
}

TEST_F(DamagedStoreTest, SetsAsideADatabaseWithoutATableAndKeepsTheOthers) {
    fill();
    executeOn(home_.databasePath(), "DROP TABLE outbox");
    expectSetAsideAndSalvaged(0, 0);
}

TEST_F(DamagedStoreTest, SetsAsideADatabaseWithoutTheTableOfItsHomes) {
    fill();
    executeOn(home_.databasePath(), "DROP TABLE homes");
    expectSetAsideAndNew();
}

TEST_F(DamagedStoreTest, ForgetsOnlyTheLastRecordOfAJournalThatIsCutShort) {
    fillAndDie();
    const std::string journal = home_.basePath() + ".journal";
    fs::resize_file(journal, fs::file_size(journal) - 1);
    const auto home = home_.open();
    EXPECT_EQ(home.defaults->stringForKey("userId"), "alice01");
    EXPECT_EQ(home.memory->loadOutbox("client").value().size(), 99U);
    EXPECT_TRUE(home_.problems().empty()) << "a kill leaves that, and nobody was told that it was written";
}

TEST_F(DamagedStoreTest, TellsOfADamagedRecordOfItsJournalAndKeepsTheOthers) {
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

TEST_F(DamagedStoreTest, SetsAJournalAsideThatIsNone) {
    fill();
    replaceContents(home_.basePath() + ".journal", std::string(500, 'x'));
    expectFilled();
    EXPECT_EQ(home_.filesSetAside().size(), 1U);
    EXPECT_EQ(home_.problems().size(), 1U);
}

TEST_F(DamagedStoreTest, ReadsADamagedSettingAsAbsentAndTheOthersAsTheyAre) {
    fill();
    executeOn(home_.databasePath(),
              "INSERT INTO defaults SELECT home, 'damaged', sum, x'01FF' FROM defaults");
    const auto defaults = home_.open().defaults;
    EXPECT_EQ(defaults->objectForKey("damaged"), std::nullopt);
    EXPECT_EQ(defaults->stringForKey("userId"), "alice01");
    ASSERT_EQ(home_.problems().size(), 1U);
    EXPECT_NE(home_.problems().front().localizedDescription().find("\"damaged\""), std::string::npos);
    defaults->setObject("damaged", "repaired");
    EXPECT_TRUE(defaults->synchronize());
}

TEST_F(DamagedStoreTest, LeavesOutAPublicationThatCannotBeOne) {
    fill();
    executeOn(home_.databasePath(),
              "UPDATE outbox SET packet=70000 WHERE packet=5; UPDATE outbox SET client=99 WHERE packet=6");
    const auto memory = home_.open().memory;
    EXPECT_EQ(memory->loadOutbox("client").value().size(), 98U);
    EXPECT_EQ(home_.problems().size(), 1U);
}

}  // namespace
}  // namespace xel::contract
