#include "tools/commands/EventCommand.h"

#include "tools/commands/Commands.h"
#include "tools/output/ExitCode.h"

namespace xel::tools {

void addEventCommand(CLI::App& program) {
    CLI::App* event = program.add_subcommand("event", "Publish events, and subscribe to them");
    event->footer(kExitCodesHelp);
    event->require_subcommand(1);
    addEventPublishCommand(*event);
    addEventSubscribeCommand(*event);
    addEventSendCommand(*event);
}

}  // namespace xel::tools
