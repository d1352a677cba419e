#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/kill/HostProcess.h"

namespace xel::killtest {

/// How long the rest may take once nothing is killed any more.
inline constexpr std::chrono::seconds kPatienceForTheRest{60};

[[nodiscard]] std::vector<std::string> linesOf(const std::filesystem::path& path);

template <class Condition>
bool waitFor(Condition condition, std::chrono::steady_clock::duration patience) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

/// Starts the host again and again and kills each after about half a second. False when one ended by itself.
[[nodiscard]] bool killRepeatedly(const HostProcess::Command& command,
                                  std::chrono::steady_clock::duration duration);

}  // namespace xel::killtest
