#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace xel::tools {

/// Adds the commands that show what the running local push service has kept: codes, events, receipts, crashes
/// and installations. `stateFolder` is the service's own option, which may stand behind the command too, and
/// counts when --sandbox-folder is not given; it outlives the command.
void addSandboxLists(CLI::App& sandbox, std::string& stateFolder);

}  // namespace xel::tools
