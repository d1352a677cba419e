#pragma once

#include <functional>

#include "XelPushClient/Platform/Home.h"
#include "tests/simulation/Fact.h"

namespace xel::simulation {

/// Puts something in between a home and its client that tells what is stored, and what the client says it
/// dropped.
void tapHome(Home& home, const std::function<void(Fact fact)>& tell);

/// The texts of a stored list; empty for one that is not there.
[[nodiscard]] std::vector<std::string> textsOf(const std::optional<Value>& list);

}  // namespace xel::simulation
