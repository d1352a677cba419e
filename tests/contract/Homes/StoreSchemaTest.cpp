// Files that this version did not write: those of earlier ones are taken in, others are left as they are.

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Homes/FilledStoreTest.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/FileMode.h"
#include "tests/contract/Store/SqliteFile.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;

class StoreSchemaTest : public FilledStoreTest {
protected:
    void expectRefused(StoreErrorCode code) {
        const std::optional<std::string> before = contentsOf(home_.databasePath());
        const auto opened = HomeStore::open(home_.options());
        ASSERT_FALSE(opened.isOk());
        EXPECT_EQ(opened.error().code, static_cast<std::int64_t>(code))
            << opened.error().localizedDescription();
        EXPECT_EQ(contentsOf(home_.databasePath()), before);
        EXPECT_TRUE(home_.filesSetAside().empty());
    }
};

TEST_F(StoreSchemaTest, SetsAnEmptiedFileOfTheFirstSchemaAsideTogetherWithItsLog) {
    fs::create_directories(home_.options().folder);
    replaceContents(home_.databasePath(), "");
    replaceContents(home_.databasePath() + "-wal", "what is left");
    expectSetAsideAndNew();
    EXPECT_EQ(home_.filesSetAside().size(), 2U);
}

TEST_F(StoreSchemaTest, TakesTheFileOfTheFirstSchemaIn) {
    fs::create_directories(home_.options().folder);
    executeOn(home_.databasePath(),
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

TEST_F(StoreSchemaTest, TakesTheFileOfTheSecondSchemaIn) {
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
    executeOn(home_.databasePath(), makeStore);
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
    executeOn(home_.databasePath(), makeStore + "DROP TABLE outbox");
    expectSetAsideAndNew();
}

TEST_F(StoreSchemaTest, LeavesAStoreOfANewerVersionAsItIs) {
    fill();
    executeOn(home_.databasePath(), "PRAGMA user_version=4");
    expectRefused(StoreErrorCode::NewerSchema);
}

TEST_F(StoreSchemaTest, LeavesAnotherProgramsDatabaseAsItIs) {
    fs::create_directories(home_.options().folder);
    executeOn(home_.databasePath(), "CREATE TABLE theirs(a); INSERT INTO theirs VALUES(1)");
    expectRefused(StoreErrorCode::NotAStore);
}

}  // namespace
}  // namespace xel::contract
