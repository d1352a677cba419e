// A store that could only be read would take publications and lose them: it is refused.

#include <cerrno>
#include <cstdint>
#include <string>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Store/FailingSqliteCall.h"

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

TEST(StoreOpenFailure, RefusesAStoreThatCouldOnlyBeRead) {
    HomeOnDisk home;
    ASSERT_TRUE(home.open().memory->appendToOutbox("client", {1, "topic", "kept", false}));
    int refused = 0;
    std::size_t kept = 1;
    bool hasFailed = true;
    for (int number = 1; hasFailed; ++number) {
        const FailingOpen failing(number);
        const auto store = HomeStore::open(home.options());
        hasFailed = failing.hasFailed();
        if (store) {
            const auto memory = openStoredHome(store.value()).value().memory;
            const auto id = static_cast<std::uint16_t>(100 + number);
            EXPECT_TRUE(memory->appendToOutbox("client", {id, "topic", "kept", false})) << "file " << number;
            ++kept;
            continue;
        }
        ++refused;
        EXPECT_EQ(store.error().code, static_cast<std::int64_t>(StoreErrorCode::CannotOpen));
        EXPECT_THAT(
            store.error().localizedDescription(),
            testing::AllOf(testing::HasSubstr(home.databasePath()), testing::HasSubstr("can only be read")));
    }
    EXPECT_GE(refused, 1) << "the database";
    EXPECT_GE(kept, 2);
    EXPECT_EQ(home.open().memory->loadOutbox("client").value().size(), kept);
}

}  // namespace
}  // namespace xel::contract
