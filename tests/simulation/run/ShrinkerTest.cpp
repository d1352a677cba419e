#include <algorithm>

#include <gtest/gtest.h>

#include "tests/simulation/run/Shrinker.h"

namespace xel::simulation {
namespace {

bool has(const Steps& steps, const std::string& line) {
    return std::find(steps.begin(), steps.end(), line) != steps.end();
}

Verdict failing(const Steps& steps) {
    return {{}, Breach{"a promise", "it was broken"}, steps};
}

TEST(Shrinker, LeavesTheStepsThatItTakes) {
    const auto verdictOn = [](const Steps& steps) {
        return has(steps, "b") && has(steps, "f") ? failing(steps) : Verdict{};
    };
    EXPECT_EQ(shrink({"a", "b", "c", "d", "e", "f", "g"}, verdictOn), (Steps{"b", "f"}));
}

TEST(Shrinker, MakesNumbersSmaller) {
    const auto verdictOn = [](const Steps& steps) {
        return !steps.empty() && std::stoi(steps.front().substr(12)) >= 5 ? failing(steps) : Verdict{};
    };
    EXPECT_EQ(shrink({"time passes 400 s"}, verdictOn), Steps{"time passes 6 s"});
}

TEST(Shrinker, DoesNotTakeAnotherBreachForTheSame) {
    const auto verdictOn = [](const Steps& steps) {
        return has(steps, "b") ? failing(steps)
                               : Verdict{{}, Breach{"another promise", "it was broken"}, steps};
    };
    EXPECT_EQ(shrink({"a", "b", "c"}, verdictOn), Steps{"b"});
}

TEST(Shrinker, LeavesARunThatBreaksNothingAsItIs) {
    EXPECT_EQ(shrink({"a", "b"}, [](const Steps&) { return Verdict{}; }), (Steps{"a", "b"}));
}

}  // namespace
}  // namespace xel::simulation
