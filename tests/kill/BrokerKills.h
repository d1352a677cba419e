#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "sandbox/SandboxService.h"
#include "tests/kill/WayOutcome.h"

namespace xel::killtest {

/// Kills the broker with SIGKILL about every five seconds, while events flow from a host that lives on, and
/// messages to it; says whether any was lost, and how long the way back to the broker took at most.
///
/// A killed broker loses what it took over after its last save. So nobody sends to the host between the save
/// that is asked for here and the kill, and whatever is missing at the end the client has lost. Each fourth
/// time the broker loses its sessions, after the host has had everything: the client's topics come back all
/// the same. Events are in the service's store before the broker acknowledges them, and need no such care.
[[nodiscard]] WayOutcome testBrokerKills(const std::string& hostProgram,
                                         std::chrono::steady_clock::duration duration,
                                         const std::filesystem::path& folder,
                                         xel::sandbox::SandboxService& service);

}  // namespace xel::killtest
