// Runs seeds of the simulation until one breaks a promise or the time is up; scripts/simulate builds and
// calls it. What fails is shortened and printed as a scenario.

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "tests/simulation/generator/Generator.h"
#include "tests/simulation/run/Run.h"
#include "tests/simulation/run/Shrinker.h"

namespace xel::simulation {
namespace {

constexpr std::string_view kUsage =
    "usage: simulate [--seed <first seed>] [--seconds <how long>] [--count <how many seeds>] [--steps] [--trace]\n"
    "                [--quick] [--scenario <file>]\n"
    "  --steps prints what the first seed does, --trace what happens then; --quick leaves a failing run as long\n"
    "  as it is; --scenario runs the steps of a file instead of those of a seed\n";

struct Options {
    std::uint64_t seed = 1;
    double seconds = 10;
    std::uint64_t count = std::numeric_limits<std::uint64_t>::max();
    bool printsSteps = false;
    bool printsTrace = false;
    bool isQuick = false;
    std::string scenario{};
};

std::optional<std::uint64_t> numberIn(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::optional<Options> optionsIn(int count, char** words) {
    Options options;
    for (int i = 1; i < count; ++i) {
        const std::string_view word = words[i];
        if (word == "--steps") {
            options.printsSteps = true;
        } else if (word == "--trace") {
            options.printsTrace = true;
        } else if (word == "--quick") {
            options.isQuick = true;
        } else if (word == "--scenario" && i + 1 < count) {
            options.scenario = words[++i];
        } else {
            const auto number = i + 1 < count ? numberIn(words[++i]) : std::nullopt;
            if (number && word == "--seed") {
                options.seed = *number;
            } else if (number && word == "--seconds") {
                options.seconds = static_cast<double>(*number);
            } else if (number && word == "--count") {
                options.count = *number;
            } else {
                std::cerr << "simulate: " << word << " is no option, or lacks its number\n" << kUsage;
                return std::nullopt;
            }
        }
    }
    return options;
}

Steps stepsOf(const std::string& scenario) {
    Steps steps;
    for (const auto& step : scenario::readScenario(scenario)) {
        steps.push_back(step.text);
    }
    return steps;
}

int show(const Options& options) {
    const auto steps = options.scenario.empty() ? generate(options.seed) : stepsOf(options.scenario);
    if (options.printsSteps) {
        for (const auto& line : steps) {
            std::cout << line << "\n";
        }
    }
    const auto verdict = run(steps);
    if (options.printsTrace) {
        for (const auto& line : verdict.trace) {
            std::cout << line << "\n";
        }
    }
    if (verdict.breach) {
        std::cout << verdict.breach->invariant << ": " << verdict.breach->how << "\n";
    }
    return verdict.breach ? 1 : 0;
}

int report(std::uint64_t seed, const Steps& steps, const Verdict& verdict, bool isQuick) {
    std::cout << "seed " << seed << ": " << verdict.breach->invariant << ": " << verdict.breach->how << "\n";
    if (!isQuick) {
        const auto shorter = shrink(steps, run);
        std::cout << scenarioOf(run(shorter), "seed " + std::to_string(seed) + ", shortened from " +
                                                  std::to_string(steps.size()) + " steps to " +
                                                  std::to_string(shorter.size()));
    }
    return 1;
}

/// What ends the process in the middle of a run says nothing of the run by itself.
std::uint64_t seedThatRuns = 0;

[[noreturn]] void endByTerminate() {
    std::cerr << "seed " << seedThatRuns << " ended the process; --seed " << seedThatRuns
              << " --count 1 does so again\n";
    std::abort();
}

int simulate(const Options& options) {
    std::set_terminate(endByTerminate);
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
    std::uint64_t runs = 0;
    for (; runs < options.count && (runs == 0 || elapsed() < options.seconds); ++runs) {
        const auto seed = options.seed + runs;
        seedThatRuns = seed;
        const auto steps = generate(seed);
        const auto verdict = run(steps);
        if (verdict.breach) {
            std::cout << "after " << elapsed() << " s, ";
            return report(seed, steps, verdict, options.isQuick);
        }
        // Whatever makes two runs of one seed differ shows in many seeds.
        const auto again = seed % 16 == 0 ? run(steps) : verdict;
        if (again.trace != verdict.trace) {
            std::cout << "seed " << seed << ": two runs of it differ\n";
            return 1;
        }
    }
    std::cout << runs << " seeds from " << options.seed << " in " << elapsed()
              << " s, and every promise kept\n";
    return 0;
}

}  // namespace
}  // namespace xel::simulation

int main(int argumentCount, char** arguments) {
    const auto options = xel::simulation::optionsIn(argumentCount, arguments);
    if (!options) {
        return 2;
    }
    try {
        if (options->printsSteps || options->printsTrace || !options->scenario.empty()) {
            return xel::simulation::show(*options);
        }
        return xel::simulation::simulate(*options);
    } catch (const xel::scenario::ScenarioFailure& failure) {
        std::cerr << "simulate: " << failure.what() << "\n";
        return 2;
    }
}
