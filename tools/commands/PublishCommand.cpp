#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/options/MessageContent.h"
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

}  // namespace xel::tools
