#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/options/ClientChoice.h"

namespace xel::tools {

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
