#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/runs/ChannelsRun.h"
#include "tools/runs/ResetRun.h"
#include "tools/runs/SettingsRun.h"

namespace xel::tools {

namespace {

void addChannelOption(CLI::App& command, const char* name, std::vector<std::string>& target,
                      const char* help) {
    // One name for each use: the option of a list would take what stands behind it, too.
    command.add_option(name, target, help)->type_name("NAME")->allow_extra_args(false);
}

CLI::Option* addSwitch(CLI::App& command, const char* name, std::optional<bool>& target, const char* help) {
    return command
        .add_option_function<std::string>(
            name, [&target](const std::string& text) { target = text == "on"; }, help)
        ->check(CLI::IsMember({"on", "off"}));
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

void addSettingsCommand(CLI::App& program) {
    const auto options = std::make_shared<SettingsOptions>();
    CLI::App* command =
        program.add_subcommand("settings", "Show the settings that a client keeps, or change them");
    CLI::Option* channel =
        command->add_option("--channel", options->channel, "The channel whose notifications are set")
            ->type_name("NAME");
    command->add_option("--sound", options->sound, "The sound of its notifications")
        ->needs(channel)
        ->capture_default_str()
        ->type_name("NAME");
    CLI::Option* alert =
        addSwitch(*command, "--alert", options->alert, "Whether it is notified of at all")->needs(channel);
    channel->needs(alert);
    addSwitch(*command, "--location-on-launch", options->locationOnLaunch,
              "Whether the client reports its location at every launch");
    addActionOptions(*command, options->client);
    addKindOption(*command, options->client);
    command->callback([options] { SettingsRun(*options, findService(options->client.service)).run(); });
}

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
