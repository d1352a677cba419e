#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/runs/ChannelsRun.h"

namespace xel::tools {

namespace {

void addChannelOption(CLI::App& command, const char* name, std::vector<std::string>& target,
                      const char* help) {
    command.add_option(name, target, help)->type_name("NAME")->allow_extra_args(false);
}

}  // namespace

void addChannelsCommand(CLI::App& program) {
    const auto options = std::make_shared<ChannelsOptions>();
    CLI::App* command =
        program.add_subcommand("channels", "Show the channels that a client keeps, or change them");
    addChannelOption(*command, "--add", options->added,
                     "Subscribe to news, public/news or private/orders; repeatable");
    addChannelOption(*command, "--remove", options->removed, "Unsubscribe from a channel; repeatable");
    addActionOptions(*command, options->client);
    addKindOption(*command, options->client);
    command->callback([options] { ChannelsRun(*options, findService(options->client.service)).run(); });
}

}  // namespace xel::tools
