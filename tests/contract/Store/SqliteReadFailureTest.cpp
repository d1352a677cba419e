// A disk that could not be read once is no damage: nothing may be set aside for it.

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/contract/Store/FailingSqliteCall.h"
#include "tests/contract/Store/SqliteHome.h"

namespace xel::contract {
namespace {

/// While it lives, the so-manieth read of a database or its log fails.
class FailingRead : public FailingSqliteCall<&::pread, EIO> {
public:
    explicit FailingRead(int number) : FailingSqliteCall({"pread", "pread64"}, number) {}
};

TEST(SqliteReadFailure, SetsNothingAsideAndLosesNothing) {
    SqliteHome home;
    {
        const auto memory = home.openMemory();
        for (std::uint16_t id = 1; id <= 60; ++id) {
            ASSERT_TRUE(memory->appendToOutbox("client", {id, "topic", std::string(300, 'p'), false}));
        }
    }
    int number = 0;
    for (bool hasFailed = true; hasFailed;) {
        {
            const FailingRead failing(++number);
            (void)SqliteStore::open(home.options());
            hasFailed = failing.hasFailed();
        }
        const auto store = SqliteStore::open(home.options());
        ASSERT_TRUE(store.isOk()) << "read " << number << ": " << store.error().localizedDescription();
        ASSERT_FALSE(store.value()->damageReport().has_value());
        const auto memory = SqliteSessionMemory::load(store.value()).value();
        ASSERT_EQ(memory->loadOutbox("client").value().size(), 60U) << "read " << number;
    }
    EXPECT_GT(number, 20) << "the database is read page by page";
}

TEST(SqliteReadFailure, IsToldWhereTheOutboxWasAskedFor) {
    SqliteHome home;
    constexpr std::uint16_t kPublications = 6;
    for (std::uint16_t id = 1; id <= kPublications; ++id) {
        // More than SQLite keeps in memory from the check of the file.
        const OutboxEntry large{id, "topic", std::string(1'000'000, 'p'), false};
        ASSERT_TRUE(home.openMemory()->appendToOutbox("client", large));
    }
    const auto memory = home.openMemory();
    {
        const FailingRead failing(1);
        EXPECT_FALSE(memory->loadOutbox("client"));
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(memory->loadOutbox("client").value().size(), kPublications);
}

TEST(SqliteReadFailure, IsToldWhereTheTopicsWereAskedFor) {
    SqliteHome home;
    TopicTable topics;
    for (int i = 0; i < 100; ++i) {
        // More than SQLite keeps in memory from the check of the file.
        topics.set(std::string(60'000, 't') + std::to_string(i), 1);
    }
    ASSERT_TRUE(home.openMemory()->storeGrantedTopics("client", topics));
    const auto memory = home.openMemory();
    {
        const FailingRead failing(1);
        EXPECT_FALSE(memory->loadGrantedTopics("client"));
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(memory->loadGrantedTopics("client").value().size(), topics.size());
}

}  // namespace
}  // namespace xel::contract
