#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/scenarios/interpreter/ScenarioWorld.h"

// Each file "*.scenario" of this folder is one test. A step that does not turn out as written is printed with
// its place.

namespace xel::scenario {
namespace {

class ScenarioTest : public ::testing::Test {
public:
    explicit ScenarioTest(std::filesystem::path file) : file_(std::move(file)) {}

    void TestBody() override {
        std::vector<Step> steps;
        try {
            steps = readScenario(file_);
        } catch (const ScenarioFailure& failure) {
            FAIL() << failure.what();
        }
        ScenarioWorld world;
        for (const auto& step : steps) {
            try {
                world.perform(step);
            } catch (const std::exception& failure) {
                ADD_FAILURE_AT(step.file.c_str(), step.line) << step.text << "\n" << failure.what();
                return;
            }
        }
        try {
            world.finish();
        } catch (const ScenarioFailure& failure) {
            ADD_FAILURE_AT(file_.string().c_str(), steps.empty() ? 1 : steps.back().line) << failure.what();
        }
    }

private:
    std::filesystem::path file_;
};

std::string testNameOf(const std::filesystem::path& file) {
    std::string name = file.stem().string();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

bool registerScenarios() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(XELPUSH_SCENARIO_DIR)) {
        if (entry.path().extension() == ".scenario") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        ::testing::RegisterTest("Scenario", testNameOf(file).c_str(), nullptr, nullptr, file.string().c_str(),
                                1, [file]() -> ::testing::Test* { return new ScenarioTest(file); });
    }
    return !files.empty();
}

const bool kThereAreScenarios = registerScenarios();

TEST(Scenarios, AreFound) {
    EXPECT_TRUE(kThereAreScenarios);
}

}  // namespace
}  // namespace xel::scenario
