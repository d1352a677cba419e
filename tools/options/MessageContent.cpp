#include "tools/options/MessageContent.h"

#include <utility>

#include "tools/options/OptionTypes.h"

namespace xel::tools {

void addContentOptions(CLI::App& command, MessageContent& content) {
    command.add_option("text", content.text, "The message's text")->type_name("TEXT");
    command.add_option("--data", content.data, "The application's data")->check(jsonObject());
    command
        .add_option("--notification", content.notification,
                    "The notification to show, such as one with buttons and a picture")
        ->check(jsonObject());
    command.add_option("--title", content.title, "Title of the notification to show")->type_name("TEXT");
    command.add_option("--body", content.body, "Body of the notification to show")->type_name("TEXT");
    command.add_option("--badge", content.badge, "Badge of the notification to show")->type_name("NUMBER");
    addDurationOption(
        command, "--expires", content.expires,
        "When the message expires, from now: 90s, 1500ms; in the past with =, as in --expires=-5s");
    command.add_flag("--silent", content.silent, "Ask clients to show no notification");
    command.add_flag("--live", content.live, "Send at most once, and only to clients that are connected");
    command.add_flag("--stateful", content.stateful, "Keep the message for later subscribers");
}

std::optional<Dictionary> dataOf(const MessageContent& content) {
    return content.data.empty() ? std::nullopt : std::optional(parseJsonObject(content.data));
}

std::optional<Dictionary> notificationOf(const MessageContent& content) {
    Dictionary notification =
        content.notification.empty() ? Dictionary() : parseJsonObject(content.notification);
    if (!content.title.empty()) {
        notification.set("title", content.title);
    }
    if (!content.body.empty()) {
        notification.set("body", content.body);
    }
    if (content.badge) {
        notification.set("badge", *content.badge);
    }
    return notification.empty() ? std::nullopt : std::optional(std::move(notification));
}

std::optional<Date> expiryOf(const MessageContent& content) {
    return content.expires ? std::optional<Date>(std::chrono::system_clock::now() + *content.expires)
                           : std::nullopt;
}

}  // namespace xel::tools
