#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/FirstAndLast.h"

namespace xel {
namespace {

TEST(FirstAndLast, AreThoseOfTheContainer) {
    std::vector<std::string> names{"a", "b", "c"};
    EXPECT_EQ(&firstOf(names), &names.front());
    EXPECT_EQ(&lastOf(names), &names.back());
    EXPECT_EQ(firstOf(std::vector{1, 2, 3}), 1);
    EXPECT_EQ(lastOf(std::vector{1, 2, 3}), 3);
}

TEST(FirstAndLast, SayWhereNothingWas) {
    const std::vector<int> nothing;
    for (const bool isLast : {false, true}) {
        try {
            (void)(isLast ? lastOf(nothing) : firstOf(nothing));
            ADD_FAILURE() << "nothing was found";
        } catch (const std::out_of_range& error) {
            EXPECT_NE(std::string(error.what()).find("FirstAndLastTest.cpp:"), std::string::npos)
                << error.what();
        }
    }
}

}  // namespace
}  // namespace xel
