#include <cstddef>
#include <memory>
#include <string>

#include "tools/Commands.h"
#include "tools/DurationOption.h"
#include "tools/ExitCode.h"
#include "tools/ListenOptions.h"
#include "tools/ListenRun.h"
#include "tools/ServiceAccess.h"

namespace xel::tools {

namespace {

constexpr std::size_t kLargestCount = 1'000'000'000;

constexpr const char* kListenHelp =
    "Prints, each on a line of its own and in the order in which the client is told: the\n"
    "registration, every connection state, every subscribed channel, messages, duplicates and\n"
    "expired messages that are dropped, events, and delivery reports. Progress and errors go to\n"
    "standard error.";

}  // namespace

void addListenCommand(CLI::App& program) {
    const auto options = std::make_shared<ListenOptions>();
    CLI::App* command = program.add_subcommand("listen", "Register, connect, and print what arrives");
    command->footer(std::string(kListenHelp) + "\n\n" + kExitCodesHelp);
    command->add_option("--user", options->user, "The user id to register")->required()->type_name("ID");
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
    command->add_flag("--plain", options->usingPlainMQTT, "Connect to the broker without TLS");
    command->add_flag("--json", options->json, "Print one JSON object a line");
    command->add_option("--count", options->count, "End after so many messages, events and delivery reports")
        ->check(CLI::Range(std::size_t{1}, kLargestCount))
        ->type_name("NUMBER");
    addDurationOption(*command, "--timeout", options->timeout,
                      "End after so long; exit code 3 when --count is not reached");
    command->add_option("--state-folder", options->stateFolder, "Where this client keeps its state")
        ->type_name("FOLDER");
    command->add_flag("--verbose,-v", options->verbose, "Show the client's log on standard error");
    addServiceOptions(*command, options->service);
    addBrokerOptions(*command, options->service);
    command->callback([options] {
        const ServiceAccess access = findService(options->service);
        ListenRun(*options, access).run();
    });
}

}  // namespace xel::tools
