#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/options/JsonOption.h"
#include "tools/runs/CrashRun.h"

namespace xel::tools {

void addCrashCommand(CLI::App& program) {
    const auto options = std::make_shared<CrashOptions>();
    CLI::App* command = program.add_subcommand("crash", "As a user's client, send a crash report");
    command->add_option("--data", options->data, "The host's own data")
        ->check(jsonObject())
        ->capture_default_str();
    command->add_flag("--save", options->saveOnDisk,
                      "Write the report to a file beside the client's state, too");
    addActionOptions(*command, options->client);
    command->callback([options] { CrashRun(*options, findService(options->client.service)).run(); });
}

}  // namespace xel::tools
