#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/options/ClientChoice.h"
#include "tools/options/OptionTypes.h"
#include "tools/options/ServiceAccess.h"
#include "tools/output/Output.h"
#include "tools/runs/ListenRun.h"
#include "tools/runs/PublishingRun.h"
#include "tools/runs/RestCall.h"

namespace xel::tools {

namespace {

struct EventPublishChoice {
    ClientChoice client;
    std::string name;
    std::string data = "{}";
    PublishEventOptions options;
};

void publishEvent(const EventPublishChoice& choice) {
    const auto act = [&choice](PushClientManager& push) {
        return push.publishEvent(choice.name, parseJsonObject(choice.data), choice.options);
    };
    PublishingRun(choice.client, findService(choice.client.service), {act, choice.options.live}).run();
}

void addEventPublishCommand(CLI::App& event) {
    const auto choice = std::make_shared<EventPublishChoice>();
    CLI::App* command = event.add_subcommand("publish", "As a user's client, publish an event of its own");
    command->add_option("name", choice->name, "The event's name")->required()->type_name("NAME");
    command->add_option("--data", choice->data, "The event's data; an \"id\" and a \"createdAt\" are added")
        ->check(jsonObject())
        ->capture_default_str();
    command->add_flag("--live", choice->options.live, "Send at most once");
    command->add_flag("--stateful", choice->options.stateful, "Keep the event for later subscribers");
    addActionOptions(*command, choice->client);
    command->callback([choice] { publishEvent(*choice); });
}

constexpr const char* kSubscribeHelp =
    "Prints the same lines as listen, and is the same client: what its channels bring is printed\n"
    "too, and one of the two runs at a time for a user.";

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

struct EventChoice {
    ServiceChoice service;
    std::string name;
    std::string device = "xelpush";
    std::string data = "{}";
    bool live = false;
    bool stateful = false;
    bool json = false;
};

void sendEvent(const EventChoice& choice) {
    const Dictionary fields{{"event", choice.name},
                            {"deviceId", choice.device},
                            {"data", parseJsonObject(choice.data)},
                            {"live", choice.live},
                            {"stateful", choice.stateful}};
    const Dictionary answer = postToService(findService(choice.service), "sandbox/events", fields);
    printLine(choice.json, answer, "published to " + textOf(answer, "topic"));
}

void addEventSendCommand(CLI::App& event) {
    const auto choice = std::make_shared<EventChoice>();
    CLI::App* command =
        event.add_subcommand("send", "Have the local push service publish an event for an installation");
    command->footer(kExitCodesHelp);
    command->add_option("name", choice->name, "The event's name")->required()->type_name("NAME");
    command->add_option("--device", choice->device, "The installation in whose name it is published")
        ->capture_default_str()
        ->type_name("ID");
    command->add_option("--data", choice->data, "The event's data")
        ->check(jsonObject())
        ->capture_default_str();
    command->add_flag("--live", choice->live, "Send at most once");
    command->add_flag("--stateful", choice->stateful, "Keep the event for later subscribers");
    command->add_flag("--json", choice->json, "Print the service's answer as one JSON object");
    addServiceOptions(*command, choice->service);
    command->callback([choice] { sendEvent(*choice); });
}

}  // namespace

void addEventCommand(CLI::App& program) {
    CLI::App* event = program.add_subcommand("event", "Publish events, and subscribe to them");
    event->footer(kExitCodesHelp);
    event->require_subcommand(1);
    addEventPublishCommand(*event);
    addEventSubscribeCommand(*event);
    addEventSendCommand(*event);
}

}  // namespace xel::tools
