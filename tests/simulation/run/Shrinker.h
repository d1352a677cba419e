#pragma once

#include <functional>

#include "tests/simulation/run/Run.h"

namespace xel::simulation {

/// The shortest list that is found of steps that still break the same promise: steps are left out, first many
/// at once, and then the numbers in those that stay are made smaller. Left as they are when they break none.
[[nodiscard]] Steps shrink(const Steps& steps, const std::function<Verdict(const Steps& steps)>& run);

/// The steps as a scenario file, with those that followed in the healing up to the breach.
[[nodiscard]] std::string scenarioOf(const Verdict& verdict, const std::string& heading);

}  // namespace xel::simulation
