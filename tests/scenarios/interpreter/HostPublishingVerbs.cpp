#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {
namespace {

/// "publish {message}": keys as in the record, "channel" too.
void publish(ScenarioWorld& world, Words& words) {
    const auto text = world.filled(words.take("a message"));
    const auto document = world.readDocument(text);
    const Value* channel = document.asDictionary()->find("channel");
    const auto named = channel != nullptr ? std::optional(*channel->asString()) : std::nullopt;
    const auto message = PushClientMessage::fromPayload(text, *world.machine->json, named, Date());
    message->receivedTime.reset();
    world.lastResult = world.manager().publish(*message);
}

/// "publishText <channel> <text>", "publishText to <user> <channel> <text>".
void publishText(ScenarioWorld& world, Words& words) {
    if (words.takeIf("to")) {
        const auto userId = words.takeOptional("a user id");
        const auto channel = words.takeOptional("a channel");
        world.lastResult = world.manager().publish(userId, channel, words.takeOptional("a text"));
        return;
    }
    const auto channel = words.takeOptional("a channel");
    world.lastResult = world.manager().publish(channel, words.takeOptional("a text"));
}

/// "publishEvent <name> {data} [live] [stateful]"; "(null)" for no data.
void publishEvent(ScenarioWorld& world, Words& words) {
    const auto name = words.take("an event");
    const auto document = words.takeOptional("the data");
    std::optional<Dictionary> data;
    if (document) {
        data = *world.readDocument(*document).asDictionary();
    }
    const bool isLive = words.takeIf("live");
    world.lastResult =
        world.manager().publishEvent(name, data, {.live = isLive, .stateful = words.takeIf("stateful")});
}

void markAsRead(ScenarioWorld& world, Words& words) {
    world.lastResult = world.manager().markAsRead(words.takeOptional("a message id"));
}

void messageDismissed(ScenarioWorld& world, Words& words) {
    world.lastResult = world.manager().messageDismissed(words.takeOptional("a message id"));
}

}  // namespace

const VerbTable& hostPublishingVerbs() {
    static const VerbTable verbs{
        {"publish", publish},       {"publishText", publishText},           {"publishEvent", publishEvent},
        {"markAsRead", markAsRead}, {"messageDismissed", messageDismissed},
    };
    return verbs;
}

}  // namespace xel::scenario
