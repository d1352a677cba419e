#pragma once

#include <CLI/CLI.hpp>

namespace xel::tools {

// The commands below `xelpush event`, one a file.

void addEventSendCommand(CLI::App& event);
void addEventPublishCommand(CLI::App& event);
void addEventSubscribeCommand(CLI::App& event);

}  // namespace xel::tools
