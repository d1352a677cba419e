// The whole client on virtual time against a service that fails in every way there is: each seed is a run,
// and each run is judged by the invariants. scripts/simulate runs more of them and shortens one that fails.

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/simulation/generator/Generator.h"
#include "tests/simulation/run/Run.h"
#include "tests/simulation/run/Shrinker.h"

namespace xel::simulation {
namespace {

// A sanitizer makes a run several times as long and looks at the same code in fewer of them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t kShare = 5;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr std::uint64_t kShare = 5;
#else
constexpr std::uint64_t kShare = 1;
#endif
#else
constexpr std::uint64_t kShare = 1;
#endif

constexpr std::uint64_t kFixedSeeds = 25;
constexpr std::uint64_t kFreshSeeds = 50;

void runSeeds(std::uint64_t first, std::uint64_t count) {
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        const auto steps = generate(seed);
        const auto verdict = run(steps);
        if (verdict.breach) {
            ADD_FAILURE() << verdict.breach->invariant << ": " << verdict.breach->how
                          << "\nscripts/simulate --seed " << seed << " shortens it:\n"
                          << scenarioOf(verdict, "seed " + std::to_string(seed));
            return;
        }
    }
}

TEST(Simulation, KeepsEveryPromiseInTheFixedSeeds) {
    runSeeds(1, kFixedSeeds / kShare);
}

TEST(Simulation, KeepsEveryPromiseInFreshSeeds) {
    const std::uint64_t first = std::random_device()() % 1'000'000'000 + 1'000'000;
    RecordProperty("first_seed", std::to_string(first));
    std::cout << "seeds from " << first << "\n";
    runSeeds(first, kFreshSeeds / kShare);
}

/// The first seed with a step that begins so.
std::uint64_t seedWith(std::string_view beginning) {
    for (std::uint64_t seed = 1;; ++seed) {
        const auto steps = generate(seed);
        if (std::any_of(steps.begin(), steps.end(),
                        [&](const std::string& step) { return step.starts_with(beginning); })) {
            return seed;
        }
    }
}

TEST(Simulation, LeavesTheSameTraceTwice) {
    for (const std::string_view beginning :
         {"given the main loop apart", "as carol host", "kill", "disk kills", "network flaps"}) {
        const auto seed = seedWith(beginning);
        const auto steps = generate(seed);
        EXPECT_EQ(run(steps).trace, run(steps).trace) << "seed " << seed << ", with " << beginning;
    }
}

TEST(Generator, MakesTheSameStepsOfTheSameSeed) {
    EXPECT_EQ(generate(7), generate(7));
    EXPECT_NE(generate(7), generate(8));
}

}  // namespace
}  // namespace xel::simulation
