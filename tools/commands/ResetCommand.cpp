#include <memory>

#include "tools/commands/Commands.h"
#include "tools/runs/ResetRun.h"

namespace xel::tools {

void addResetCommand(CLI::App& program) {
    const auto options = std::make_shared<ResetOptions>();
    CLI::App* command = program.add_subcommand(
        "reset", "Have a client forget its identity, its channels and what it has received");
    CLI::Option* unregister = command->add_flag("--unregister", options->unregisters,
                                                "Remove the installation from the service, too");
    command->add_flag("--offline", options->offline, "Forget here only, without a word to the broker")
        ->excludes(unregister);
    addActionOptions(*command, options->client);
    addKindOption(*command, options->client);
    command->callback([options] { ResetRun(*options, findService(options->client.service)).run(); });
}

}  // namespace xel::tools
