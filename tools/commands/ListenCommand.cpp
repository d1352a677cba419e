#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/options/ClientChoice.h"
#include "tools/options/ServiceAccess.h"
#include "tools/output/Output.h"
#include "tools/runs/ListenRun.h"

namespace xel::tools {

namespace {

constexpr const char* kListenHelp =
    "Prints, each on a line of its own and in the order in which the client is told: the\n"
    "registration, every connection state, every subscribed channel, messages, duplicates and\n"
    "expired messages that are dropped, events, and delivery reports. Progress and errors go to\n"
    "standard error.";

}  // namespace

void addListenCommand(CLI::App& program) {
    const auto options = std::make_shared<ListenOptions>();
    CLI::App* command = program.add_subcommand("listen", "Register, connect, and print what arrives");
    addListenOptions(*command, *options);
    command->footer(std::string(kListenHelp) + "\n\n" + kExitCodesHelp);
    command
        ->add_option("--channel", options->channels,
                     "A channel to subscribe to: news, public/news or private/orders; repeatable")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command->add_option("--event", options->events, "An event to subscribe to; repeatable")
        ->type_name("NAME")
        ->allow_extra_args(false);
    command->add_flag("--delivery", options->hearsDeliveries,
                      "Hear delivery reports of this user's messages");
    command->callback([options] { ListenRun(*options, findService(options->client.service)).run(); });
}

}  // namespace xel::tools
