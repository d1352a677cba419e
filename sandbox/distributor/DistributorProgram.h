#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

#include "sandbox/process/ProgressLog.h"

namespace xel::sandbox {

/// Where the distributor keeps its state when it is not told: $XDG_STATE_HOME/xelpush-distributor, or
/// ~/.local/state/xelpush-distributor. Throws SandboxError when neither variable says where that is.
std::filesystem::path defaultDistributorFolder();

/// How to run the distributor. Everything has a default.
struct DistributorOptions {
    /// Where registrations and messages are kept; empty: defaultDistributorFolder().
    std::filesystem::path stateFolder;

    /// The port of the endpoints; 0 means any free one. Missing: the one that it had last, at first a free
    /// one.
    std::optional<std::uint16_t> port;

    /// Progress, line by line.
    LogSink log;

    /// Everything is up. Called once.
    std::function<void(std::uint16_t port, const std::filesystem::path& folder)> onReady;
};

/// Runs a UnifiedPush distributor on the session bus until SIGINT or SIGTERM comes, then ends it and returns.
/// Throws NoSessionBusError, PortTakenError, or SandboxError when it cannot start or the bus has gone.
///
/// Takes over both signals while it runs.
void runDistributorUntilSignal(const DistributorOptions& options);

}  // namespace xel::sandbox
