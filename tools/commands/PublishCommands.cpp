#include <chrono>
#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/options/MessageContent.h"
#include "tools/options/OptionTypes.h"
#include "tools/output/Output.h"
#include "tools/runs/PublishingRun.h"

namespace xel::tools {

namespace {

struct PublishChoice {
    ClientChoice client;
    std::string recipient;
    bool isPublic = false;
    std::string channel;
    MessageContent content;
};

PushClientMessage messageOf(const PublishChoice& choice) {
    PushClientMessage message = PushClientMessage::withMessage(
        choice.content.text, choice.isPublic ? std::string("*") : choice.recipient, choice.channel);
    message.data = dataOf(choice.content);
    message.notification = notificationOf(choice.content);
    message.expireTime = expiryOf(choice.content);
    message.silent = choice.content.silent;
    message.live = choice.content.live;
    message.stateful = choice.content.stateful;
    return message;
}

void publish(const PublishChoice& choice) {
    const auto act = [message = messageOf(choice)](PushClientManager& push) { return push.publish(message); };
    PublishingRun(choice.client, findService(choice.client.service), {act, choice.content.live}).run();
}

struct LocationChoice {
    ClientChoice client;
    double latitude = 0.0;
    double longitude = 0.0;
    std::string data;
    bool live = false;
    bool stateful = false;
};

void publishLocation(const LocationChoice& choice) {
    const auto act = [&choice](PushClientManager& push) {
        CLLocation location;
        location.coordinate = CLLocationCoordinate2DMake(choice.latitude, choice.longitude);
        location.timestamp = std::chrono::system_clock::now();
        PublishLocationOptions options;
        options.live = choice.live;
        options.stateful = choice.stateful;
        if (!choice.data.empty()) {
            options.data = parseJsonObject(choice.data);
        }
        push.publishLocation(location, options);
        return true;
    };
    PublishingRun(choice.client, findService(choice.client.service), {act, choice.live}).run();
}

// `seen` and `dismiss` differ in the operation that they call.
using Receipt = bool (PushClientManager::*)(const OptionalText& messageId);

struct ReceiptChoice {
    ClientChoice client;
    std::string messageId;
};

void addReceiptCommand(CLI::App& program, const char* name, const char* help, Receipt receipt) {
    const auto choice = std::make_shared<ReceiptChoice>();
    CLI::App* command = program.add_subcommand(name, help);
    command->add_option("message-id", choice->messageId, "The message's id, as listen shows it")
        ->required()
        ->type_name("ID");
    addActionOptions(*command, choice->client);
    command->callback([choice, receipt] {
        const auto act = [&](PushClientManager& push) { return (push.*receipt)(choice->messageId); };
        PublishingRun(choice->client, findService(choice->client.service), {act}).run();
    });
}

}  // namespace

void addPublishCommand(CLI::App& program) {
    const auto choice = std::make_shared<PublishChoice>();
    CLI::App* command =
        program.add_subcommand("publish", "As a user's client, publish a message to a user or to everybody");
    CLI::Option_group* recipient = command->add_option_group("recipient");
    recipient->add_option("--to", choice->recipient, "The user to send to")->type_name("ID");
    recipient->add_flag("--public", choice->isPublic, "Send to everybody who is subscribed to the channel");
    recipient->require_option(1);
    command->add_option("--channel", choice->channel, "The channel's bare name (default: default)")
        ->type_name("NAME");
    addContentOptions(*command, choice->content);
    addActionOptions(*command, choice->client);
    command->callback([choice] { publish(*choice); });
}

void addLocationCommand(CLI::App& program) {
    CLI::App* location = program.add_subcommand("location", "Publish a location");
    location->footer(kExitCodesHelp);
    location->require_subcommand(1);

    const auto choice = std::make_shared<LocationChoice>();
    CLI::App* command =
        location->add_subcommand("publish", "As a user's client, publish a place as event \"geo\"");
    command->add_option("--latitude", choice->latitude, "Degrees north; south with =, as in --latitude=-33.9")
        ->required()
        ->check(CLI::Range(-90.0, 90.0))
        ->type_name("DEGREES");
    command
        ->add_option("--longitude", choice->longitude, "Degrees east; west with =, as in --longitude=-70.6")
        ->required()
        ->check(CLI::Range(-180.0, 180.0))
        ->type_name("DEGREES");
    command->add_option("--data", choice->data, "The application's data")->check(jsonObject());
    command->add_flag("--live", choice->live, "Send at most once");
    command->add_flag("--stateful", choice->stateful, "Keep the event for later subscribers");
    addActionOptions(*command, choice->client);
    command->callback([choice] { publishLocation(*choice); });
}

void addReceiptCommands(CLI::App& program) {
    addReceiptCommand(program, "seen", "Tell the service that the user has read a message",
                      &PushClientManager::markAsRead);
    addReceiptCommand(program, "dismiss", "Tell the service that the user has dismissed a message",
                      &PushClientManager::messageDismissed);
}

}  // namespace xel::tools
