#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tests/simulation/run/Witness.h"

namespace xel::simulation {

/// What a run does, as the lines of a scenario.
using Steps = std::vector<std::string>;

/// What came of a run.
struct Verdict {
    std::vector<std::string> trace;
    std::optional<Breach> breach;
    /// The steps that were carried out, up to the one in which the promise was broken, those of the healing
    /// among them.
    Steps done;
};

/// Carries the steps out in a world of their own, heals it, lets it come to rest, and judges everything that
/// happened. Two runs of the same steps leave the same trace.
[[nodiscard]] Verdict run(const Steps& steps);

}  // namespace xel::simulation
