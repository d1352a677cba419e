#include "tests/simulation/run/Shrinker.h"

#include <algorithm>
#include <cstddef>
#include <optional>

namespace xel::simulation {
namespace {

using Fails = std::function<bool(const Steps& steps)>;

Steps without(const Steps& steps, std::size_t first, std::size_t count) {
    Steps rest(steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(first));
    const std::size_t end = std::min(first + count, steps.size());
    rest.insert(rest.end(), steps.begin() + static_cast<std::ptrdiff_t>(end), steps.end());
    return rest;
}

/// Leaves out pieces of half the list, of a quarter, and so on down to single steps, until nothing more can
/// go.
Steps withFewerSteps(Steps steps, const Fails& fails) {
    for (std::size_t size = std::max<std::size_t>(steps.size() / 2, 1); size > 0;) {
        bool isShorter = false;
        for (std::size_t first = 0; first < steps.size();) {
            auto fewer = without(steps, first, size);
            if (fails(fewer)) {
                steps = std::move(fewer);
                isShorter = true;
            } else {
                first += size;
            }
        }
        if (size > 1) {
            size /= 2;
        } else if (!isShorter) {
            break;
        }
    }
    return steps;
}

/// A number that is a word of its own, where it begins and how long it is.
struct Number {
    std::size_t at;
    std::size_t length;
    long long value;
};

std::optional<Number> nextNumber(const std::string& line, std::size_t from) {
    for (std::size_t at = line.find(' ', from); at != std::string::npos; at = line.find(' ', at + 1)) {
        const auto end = std::min(line.find(' ', at + 1), line.size());
        const auto word = line.substr(at + 1, end - at - 1);
        const bool isNumber =
            !word.empty() && word.size() < 10 &&
            std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (isNumber) {
            return Number{at + 1, word.size(), std::stoll(word)};
        }
    }
    return std::nullopt;
}

/// Halves the numbers of each line, from left to right, for as long as that still fails.
Steps withSmallerNumbers(Steps steps, const Fails& fails) {
    for (auto& line : steps) {
        std::size_t from = 0;
        while (const auto number = nextNumber(line, from)) {
            const std::string before = line;
            line = before.substr(0, number->at) + std::to_string(number->value / 2) +
                   before.substr(number->at + number->length);
            if (number->value < 2 || !fails(steps)) {
                line = before;
                from = number->at + number->length;
            }
        }
    }
    return steps;
}

}  // namespace

Steps shrink(const Steps& steps, const std::function<Verdict(const Steps& steps)>& run) {
    const auto breach = run(steps).breach;
    if (!breach) {
        return steps;
    }
    // Another breach of the same promise will do: its words name what happens to be concerned.
    const Fails fails = [&](const Steps& fewer) {
        const auto verdict = run(fewer);
        return verdict.breach && verdict.breach->invariant == breach->invariant;
    };
    return withFewerSteps(withSmallerNumbers(withFewerSteps(steps, fails), fails), fails);
}

std::string scenarioOf(const Verdict& verdict, const std::string& heading) {
    std::string text = "# " + heading + "\n";
    if (verdict.breach) {
        text += "# " + verdict.breach->invariant + ": " + verdict.breach->how + "\n";
    }
    for (const auto& line : verdict.done) {
        text += line + "\n";
    }
    return text;
}

}  // namespace xel::simulation
