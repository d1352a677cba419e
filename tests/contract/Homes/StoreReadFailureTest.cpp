// A disk that could not be read once is no damage: nothing may be set aside for it.

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Store/FailingSqliteCall.h"

namespace xel::contract {
namespace {

/// While it lives, the so-manieth read of a database or its log fails.
class FailingRead : public FailingSqliteCall<&::pread, EIO> {
public:
    explicit FailingRead(int number) : FailingSqliteCall({"pread", "pread64"}, number) {}
};

TEST(StoreReadFailure, SetsNothingAsideAndLosesNothing) {
    HomeOnDisk home;
    {
        const auto memory = home.open().memory;
        for (std::uint16_t id = 1; id <= 60; ++id) {
            ASSERT_TRUE(memory->appendToOutbox("client", {id, "topic", std::string(300, 'p'), false}));
        }
    }
    int number = 0;
    for (bool hasFailed = true; hasFailed;) {
        {
            const FailingRead failing(++number);
            (void)HomeStore::open(home.options());
            hasFailed = failing.hasFailed();
        }
        const auto store = HomeStore::open(home.options());
        ASSERT_TRUE(store.isOk()) << "read " << number << ": " << store.error().localizedDescription();
        ASSERT_FALSE(store.value()->damageReport().has_value());
        const auto memory = openStoredHome(store.value()).value().memory;
        ASSERT_EQ(memory->loadOutbox("client").value().size(), 60U) << "read " << number;
    }
    EXPECT_GT(number, 10) << "the database is read page by page";
}

TEST(StoreReadFailure, IsToldWhereTheOutboxWasAskedFor) {
    HomeOnDisk home;
    constexpr std::uint16_t kPublications = 6;
    for (std::uint16_t id = 1; id <= kPublications; ++id) {
        // More than SQLite keeps in memory from the check of the file.
        const OutboxEntry large{id, "topic", std::string(1'000'000, 'p'), false};
        ASSERT_TRUE(home.open().memory->appendToOutbox("client", large));
    }
    const auto memory = home.open().memory;
    {
        const FailingRead failing(1);
        EXPECT_FALSE(memory->loadOutbox("client"));
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(memory->loadOutbox("client").value().size(), kPublications);
}

TEST(StoreReadFailure, IsToldWhereTheTopicsWereAskedFor) {
    HomeOnDisk home;
    TopicTable topics;
    for (int i = 0; i < 100; ++i) {
        // More than SQLite keeps in memory from the check of the file.
        topics.set(std::string(60'000, 't') + std::to_string(i), 1);
    }
    ASSERT_TRUE(home.open().memory->storeGrantedTopics("client", topics));
    const auto memory = home.open().memory;
    {
        const FailingRead failing(1);
        EXPECT_FALSE(memory->loadGrantedTopics("client"));
        EXPECT_TRUE(failing.hasFailed());
    }
    EXPECT_EQ(memory->loadGrantedTopics("client").value().size(), topics.size());
}

}  // namespace
}  // namespace xel::contract
