#pragma once

#include <cstdint>

#include "tests/simulation/run/Run.h"

namespace xel::simulation {

/// The steps of that seed, all of them in advance: they look at nothing that happens, so that the rest keeps
/// its meaning when some are left out.
[[nodiscard]] Steps generate(std::uint64_t seed);

}  // namespace xel::simulation
