#pragma once

#include <CLI/CLI.hpp>

namespace xel::tools {

// Each adds one command with its options. The command runs as CLI11's callback, when the whole line has been
// understood; it ends by returning (success) or by throwing `CommandFailure`.

void addSandboxCommand(CLI::App& program);
void addListenCommand(CLI::App& program);
void addSendCommand(CLI::App& program);
void addEventCommand(CLI::App& program);

}  // namespace xel::tools
