#include <memory>
#include <string>

#include "tools/commands/EventCommand.h"
#include "tools/options/JsonOption.h"
#include "tools/runs/PublishingRun.h"

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

}  // namespace

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

}  // namespace xel::tools
