#include <memory>
#include <string>

#include "tools/commands/EventCommand.h"
#include "tools/options/ListenOptions.h"
#include "tools/output/ExitCode.h"
#include "tools/runs/ListenRun.h"

namespace xel::tools {

namespace {

constexpr const char* kSubscribeHelp =
    "Prints the same lines as listen, and is the same client: what its channels bring is printed\n"
    "too, and one of the two runs at a time for a user.";

}  // namespace

void addEventSubscribeCommand(CLI::App& event) {
    const auto options = std::make_shared<ListenOptions>();
    CLI::App* command = event.add_subcommand("subscribe", "Subscribe to events, and print what arrives");
    command->add_option("name", options->events, "The event's name; repeatable")
        ->required()
        ->type_name("NAME");
    command
        ->add_option("--installation", options->installation,
                     "Only the events of this installation; otherwise those of every one")
        ->type_name("ID");
    addListenOptions(*command, *options);
    command->footer(std::string(kSubscribeHelp) + "\n\n" + kExitCodesHelp);
    command->callback([options] { ListenRun(*options, findService(options->client.service)).run(); });
}

}  // namespace xel::tools
