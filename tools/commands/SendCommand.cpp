#include <memory>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/options/MessageContent.h"
#include "tools/options/ServiceAccess.h"
#include "tools/output/Output.h"
#include "tools/runs/RestCall.h"

namespace xel::tools {

namespace {

struct SendChoice {
    ServiceChoice service;
    std::string user;
    bool isPublic = false;
    std::string channel;
    MessageContent content;
    std::string id;
    std::string sender;
    std::string senderDevice;
    bool json = false;
};

void setUnlessEmpty(Dictionary& fields, const char* key, const std::string& value) {
    if (!value.empty()) {
        fields.set(key, value);
    }
}

void setWhenTrue(Dictionary& fields, const char* key, bool value) {
    if (value) {
        fields.set(key, true);
    }
}

Dictionary fieldsOf(const SendChoice& choice) {
    const MessageContent& content = choice.content;
    Dictionary fields;
    fields.set("user", choice.isPublic ? std::string("*") : choice.user);
    setUnlessEmpty(fields, "channel", choice.channel);
    setUnlessEmpty(fields, "body", content.text);
    setUnlessEmpty(fields, "id", choice.id);
    setUnlessEmpty(fields, "senderId", choice.sender);
    setUnlessEmpty(fields, "sentId", choice.senderDevice);
    if (auto data = dataOf(content)) {
        fields.set("data", std::move(*data));
    }
    if (auto notification = notificationOf(content)) {
        fields.set("notification", std::move(*notification));
    }
    if (const auto expiry = expiryOf(content)) {
        fields.set("expireTime", wholeMillisecondsSince1970(*expiry));
    }
    setWhenTrue(fields, "silent", content.silent);
    setWhenTrue(fields, "live", content.live);
    setWhenTrue(fields, "stateful", content.stateful);
    return fields;
}

void send(const SendChoice& choice) {
    const Dictionary answer =
        postToService(findService(choice.service), "sandbox/messages", fieldsOf(choice));
    printLine(choice.json, answer, "sent " + textOf(answer, "id") + " to " + textOf(answer, "topic"));
}

}  // namespace

void addSendCommand(CLI::App& program) {
    const auto choice = std::make_shared<SendChoice>();
    CLI::App* command = program.add_subcommand("send", "Have the local push service send a message");
    command->footer(kExitCodesHelp);
    CLI::Option_group* recipient = command->add_option_group("recipient");
    recipient->add_option("--user", choice->user, "The user to send to")->type_name("ID");
    recipient->add_flag("--public", choice->isPublic, "Send to everybody who is subscribed to the channel");
    recipient->require_option(1);
    command->add_option("--channel", choice->channel, "The channel's name (default: default)")
        ->type_name("NAME");
    addContentOptions(*command, choice->content);
    command->add_option("--id", choice->id, "The message's id; one given twice makes a duplicate")
        ->type_name("ID");
    command->add_option("--sender", choice->sender, "Send in this user's name, who gets the delivery reports")
        ->type_name("ID");
    command->add_option("--sender-device", choice->senderDevice, "Send in this device's name")
        ->type_name("ID");
    command->add_flag("--json", choice->json, "Print the service's answer as one JSON object");
    addServiceOptions(*command, choice->service);
    command->callback([choice] { send(*choice); });
}

}  // namespace xel::tools
