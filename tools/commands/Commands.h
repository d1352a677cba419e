#pragma once

#include <CLI/CLI.hpp>

namespace xel::tools {

// Each adds one command with its options. The command runs as CLI11's callback, when the whole line has been
// understood; it ends by returning (success) or by throwing `CommandFailure`.

void addSandboxCommand(CLI::App& program);
void addDistributorCommand(CLI::App& program);
void addListenCommand(CLI::App& program);
void addSendCommand(CLI::App& program);
void addEventCommand(CLI::App& program);
void addPublishCommand(CLI::App& program);
void addReceiptCommands(CLI::App& program);
void addVerifyCommand(CLI::App& program);
void addTagCommand(CLI::App& program);
void addLocationCommand(CLI::App& program);
void addCrashCommand(CLI::App& program);
void addChannelsCommand(CLI::App& program);
void addSettingsCommand(CLI::App& program);
void addStatusCommand(CLI::App& program);
void addResetCommand(CLI::App& program);
void addDoctorCommand(CLI::App& program);

}  // namespace xel::tools
