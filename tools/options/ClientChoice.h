#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/options/ServiceAccess.h"

namespace xel::tools {

/// The two clients that a user has here, each an installation with a state of its own: so that a user may
/// publish while he listens.
enum class ClientKind {
    Listening,  ///< `listen` and `event subscribe`: keeps its channels, and gets what came while it was away
    Acting      ///< `publish` and the other commands that do one thing and end
};

/// Which client a command runs, and how.
struct ClientChoice {
    ServiceChoice service{};
    ClientKind kind = ClientKind::Acting;
    std::string user{};
    std::string stateFolder{};
    bool usingPlainMQTT = false;
    bool json = false;
    bool verbose = false;
    std::string diagnosticsFile{};
    std::optional<std::chrono::milliseconds> timeout{};
};

/// The options of every command that runs a client, but for --timeout.
void addClientOptions(CLI::App& command, ClientChoice& choice);

/// The same and --timeout, for a command that does one thing and ends.
void addActionOptions(CLI::App& command, ClientChoice& choice);

/// Which of the user's two clients is meant, for commands that look at one: --client listen|command.
void addKindOption(CLI::App& command, ClientChoice& choice);

/// The name of the client's home.
[[nodiscard]] std::string homeNameOf(ClientKind kind, const std::string& user);

/// What `xelpush listen` or `xelpush event subscribe` was asked for.
struct ListenOptions {
    ClientChoice client{.kind = ClientKind::Listening};
    std::vector<std::string> channels{};
    std::vector<std::string> events{};
    /// The installation whose events are meant; none for those of every installation.
    std::optional<std::string> installation{};
    bool hearsDeliveries = false;
    /// End after so many messages, events and delivery reports.
    std::optional<std::size_t> count{};
};

/// The options that all listening commands share.
void addListenOptions(CLI::App& command, ListenOptions& options);

}  // namespace xel::tools
