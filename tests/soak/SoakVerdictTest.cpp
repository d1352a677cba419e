#include <functional>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/soak/SoakVerdict.h"

namespace xel::soak {
namespace {

constexpr std::size_t kMebibyte = std::size_t{1024} * 1024;

std::vector<ProcessSample> samplesOf(const std::function<void(ProcessSample&, std::size_t number)>& change) {
    std::vector<ProcessSample> samples(40, {20 * kMebibyte, 12, 4, 8 * kMebibyte});
    for (std::size_t i = 0; i < samples.size(); ++i) {
        change(samples[i], i);
    }
    return samples;
}

struct GrowthCase {
    std::string_view name;
    std::function<void(ProcessSample& sample, std::size_t number)> change;
    std::size_t grown;
};

const GrowthCase kGrowths[] = {
    {"a steady process", [](auto&, auto) {}, 0},
    {"one that warms up",
     [](auto& sample, auto number) {
         sample.memory = number < 10 ? kMebibyte : 20 * kMebibyte;
         sample.threads = number < 10 ? 1 : 4;
     },
     0},
    {"one that holds much for a moment",
     [](auto& sample, auto number) { sample.memory += number == 25 ? 9 * kMebibyte : 0; }, 0},
    {"a few pages more", [](auto& sample, auto number) { sample.memory += number * kMebibyte / 20; }, 0},
    {"memory that leaks", [](auto& sample, auto number) { sample.memory += number * kMebibyte / 8; }, 1},
    {"two descriptors more", [](auto& sample, auto number) { sample.descriptors += number == 39 ? 2 : 0; },
     0},
    {"descriptors that leak", [](auto& sample, auto number) { sample.descriptors += number / 5; }, 1},
    {"threads that leak", [](auto& sample, auto number) { sample.threads += number / 5; }, 1},
    {"a store that grows", [](auto& sample, auto number) { sample.store += number * kMebibyte / 10; }, 1},
    {"all of it at once",
     [](auto& sample, auto number) {
         sample = {sample.memory + number * kMebibyte, 12 + number, 4 + number,
                   sample.store + number * kMebibyte};
     },
     4},
};

TEST(SoakVerdict, TellsWhatGrowsOnceTheProcessIsWarm) {
    for (const GrowthCase& growth : kGrowths) {
        EXPECT_EQ(judge(samplesOf(growth.change)).grown.size(), growth.grown) << growth.name;
    }
}

TEST(SoakVerdict, JudgesNothingByAHandfulOfSamples) {
    EXPECT_FALSE(judge(std::vector<ProcessSample>(7)).isGood());
    EXPECT_TRUE(judge(std::vector<ProcessSample>(8)).isGood());
}

}  // namespace
}  // namespace xel::soak
