#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "tools/Commands.h"
#include "tools/DurationOption.h"
#include "tools/JsonOption.h"
#include "tools/RestCall.h"
#include "tools/ServiceAccess.h"

namespace xel::tools {

namespace {

struct SendChoice {
    ServiceChoice service;
    std::string user;
    bool isPublic = false;
    std::string channel;
    std::string text;
    std::string data;
    std::string title;
    std::string body;
    std::optional<std::int64_t> badge;
    std::optional<std::chrono::milliseconds> expires;
    std::string id;
    std::string sender;
    std::string senderDevice;
    bool silent = false;
    bool live = false;
    bool stateful = false;
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
    Dictionary fields;
    fields.set("user", choice.isPublic ? std::string("*") : choice.user);
    setUnlessEmpty(fields, "channel", choice.channel);
    setUnlessEmpty(fields, "body", choice.text);
    setUnlessEmpty(fields, "id", choice.id);
    setUnlessEmpty(fields, "senderId", choice.sender);
    setUnlessEmpty(fields, "sentId", choice.senderDevice);
    if (!choice.data.empty()) {
        fields.set("data", parseJsonObject(choice.data));
    }
    Dictionary notification;
    setUnlessEmpty(notification, "title", choice.title);
    setUnlessEmpty(notification, "body", choice.body);
    if (choice.badge) {
        notification.set("badge", *choice.badge);
    }
    if (!notification.empty()) {
        fields.set("notification", std::move(notification));
    }
    if (choice.expires) {
        const auto instant = std::chrono::system_clock::now() + *choice.expires;
        fields.set(
            "expireTime",
            static_cast<std::int64_t>(
                std::chrono::duration_cast<std::chrono::milliseconds>(instant.time_since_epoch()).count()));
    }
    setWhenTrue(fields, "silent", choice.silent);
    setWhenTrue(fields, "live", choice.live);
    setWhenTrue(fields, "stateful", choice.stateful);
    return fields;
}

std::string textOf(const Dictionary& record, const char* key) {
    const Value* value = record.find(key);
    return value != nullptr && value->isString() ? *value->asString() : "";
}

void send(const SendChoice& choice) {
    const Dictionary answer =
        postToService(findService(choice.service), "sandbox/messages", fieldsOf(choice));
    if (choice.json) {
        std::cout << printJSON(answer, JSONLayout::OneLine) << '\n';
    } else {
        std::cout << "sent " << textOf(answer, "id") << " to " << textOf(answer, "topic") << '\n';
    }
}

void addContentOptions(CLI::App& command, SendChoice& choice) {
    command.add_option("text", choice.text, "The message's text")->type_name("TEXT");
    command.add_option("--data", choice.data, "The application's data")->check(jsonObject());
    command.add_option("--title", choice.title, "Title of the notification to show")->type_name("TEXT");
    command.add_option("--body", choice.body, "Body of the notification to show")->type_name("TEXT");
    command.add_option("--badge", choice.badge, "Badge of the notification to show")->type_name("NUMBER");
    addDurationOption(
        command, "--expires", choice.expires,
        "When the message expires, from now: 90s, 1500ms; in the past with =, as in --expires=-5s");
    command.add_option("--id", choice.id, "The message's id; one given twice makes a duplicate")
        ->type_name("ID");
    command.add_flag("--silent", choice.silent, "Ask clients to show no notification");
}

}  // namespace

void addSendCommand(CLI::App& program) {
    const auto choice = std::make_shared<SendChoice>();
    CLI::App* command = program.add_subcommand("send", "Have the local push service send a message");
    CLI::Option_group* recipient = command->add_option_group("recipient");
    recipient->add_option("--user", choice->user, "The user to send to")->type_name("ID");
    recipient->add_flag("--public", choice->isPublic, "Send to everybody who is subscribed to the channel");
    recipient->require_option(1);
    command->add_option("--channel", choice->channel, "The channel's name (default: default)")
        ->type_name("NAME");
    addContentOptions(*command, *choice);
    command->add_option("--sender", choice->sender, "Send in this user's name, who gets the delivery reports")
        ->type_name("ID");
    command->add_option("--sender-device", choice->senderDevice, "Send in this device's name")
        ->type_name("ID");
    command->add_flag("--live", choice->live, "Send at most once, and only to clients that are connected");
    command->add_flag("--stateful", choice->stateful, "Keep the message for later subscribers");
    command->add_flag("--json", choice->json, "Print the service's answer as one JSON object");
    addServiceOptions(*command, choice->service);
    command->callback([choice] { send(*choice); });
}

}  // namespace xel::tools
