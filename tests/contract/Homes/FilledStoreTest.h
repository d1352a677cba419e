#pragma once

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "tests/contract/Homes/HomeOnDisk.h"
#include "tests/contract/Process/ChildOfTest.h"

namespace xel::contract {

/// A store that something was written to, and what is to be found in it afterwards.
class FilledStoreTest : public ::testing::Test {
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
        ASSERT_EQ(resultOfChild([this]() -> int {
                      const auto home = home_.open();
                      if (fill(home)) {
                          raise(SIGKILL);
                      }
                      return 1;
                  }),
                  -SIGKILL);
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
        EXPECT_FALSE(home_.filesSetAside().empty());
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

    HomeOnDisk home_;
};

}  // namespace xel::contract
