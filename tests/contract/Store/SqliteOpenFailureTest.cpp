// A store that could only be read would take publications and lose them: it is refused.

#include <cerrno>
#include <cstdint>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Store/FailingSqliteCall.h"
#include "tests/contract/Store/SqliteHome.h"

namespace xel::contract {
namespace {

int openFile(const char* path, int flags, int mode) {
    return ::open(path, flags, mode);
}

/// While it lives, the so-manieth file that SQLite opens finds no descriptor, and the next one does.
class FailingOpen : public FailingSqliteCall<&openFile, EMFILE> {
public:
    explicit FailingOpen(int number) : FailingSqliteCall({"open"}, number) {}
};

TEST(SqliteOpenFailure, RefusesAStoreThatCouldOnlyBeRead) {
    SqliteHome home;
    ASSERT_TRUE(home.openMemory()->appendToOutbox("client", {1, "topic", "kept", false}));
    int refused = 0;
    bool hasFailed = true;
    for (int number = 1; hasFailed; ++number) {
        const FailingOpen failing(number);
        const auto store = SqliteStore::open(home.options());
        hasFailed = failing.hasFailed();
        if (store) {
            const auto memory = SqliteSessionMemory::load(store.value()).value();
            const auto id = static_cast<std::uint16_t>(100 + number);
            EXPECT_TRUE(memory->appendToOutbox("client", {id, "topic", "kept", false})) << "file " << number;
            continue;
        }
        ++refused;
        EXPECT_EQ(store.error().code, static_cast<std::int64_t>(StoreErrorCode::CannotOpen));
        EXPECT_THAT(store.error().localizedDescription(),
                    testing::AllOf(testing::HasSubstr(home.databasePath()),
                                   testing::HasSubstr("Too many open files")));
    }
    EXPECT_EQ(refused, 2) << "the database and its log";
}

}  // namespace
}  // namespace xel::contract
