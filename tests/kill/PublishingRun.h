#pragma once

#include <chrono>
#include <filesystem>
#include <string>

#include "sandbox/state/SandboxInfo.h"
#include "tests/kill/WayOutcome.h"

namespace xel::killtest {

/// Kills a host while it publishes events, lets a last life send what is left, and says whether every event
/// that the client had promised reached a subscriber.
[[nodiscard]] WayOutcome testPublishing(const std::string& hostProgram,
                                        std::chrono::steady_clock::duration duration,
                                        const std::filesystem::path& folder,
                                        const xel::sandbox::SandboxInfo& info);

}  // namespace xel::killtest
