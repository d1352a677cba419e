#include "XelPushClient/Foundation/JSONPrinter.h"
#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {
namespace {

/// "requestVerificationCode <user> [media <media>]".
void requestVerificationCode(ScenarioWorld& world, Words& words) {
    const auto userId = words.takeOptional("a user id");
    if (words.takeIf("media")) {
        world.lastResult = world.manager().requestVerificationCode(userId, words.takeOptional("the media"));
    } else {
        world.lastResult = world.manager().requestVerificationCode(userId);
    }
}

void verifyUserCode(ScenarioWorld& world, Words& words) {
    const auto userId = words.takeOptional("a user id");
    world.lastResult = world.manager().verifyUserCode(userId, words.takeOptional("a code"));
}

std::function<void(std::int64_t)> hearingCount(ScenarioWorld& world) {
    return [hear = world.blockEar()](std::int64_t count) {
        hear({"tagCount", {{"count", std::to_string(count)}}});
    };
}

std::function<void(const NSError&)> hearingFailure(ScenarioWorld& world, const std::string& name) {
    return [hear = world.blockEar(), name](const NSError& error) { hear({name, fieldsOf(error)}); };
}

/// "addTag <name> [with blocks]", "removeTag <name> [with blocks]".
template <auto operation>
void manageTag(ScenarioWorld& world, Words& words) {
    const auto name = words.takeOptional("a tag");
    if (words.takeIf("with")) {
        words.take("blocks");
        (world.manager().*operation)(name, hearingCount(world), hearingFailure(world, "tagFailed"));
    } else {
        (world.manager().*operation)(name, nullptr, nullptr);
    }
}

/// "requestMethod <method> <path> [{parameters}]".
void requestMethod(ScenarioWorld& world, Words& words) {
    const auto method = words.takeOptional("a method");
    const auto path = words.take("a path");
    std::optional<Dictionary> parameters;
    if (!words.isAtEnd()) {
        parameters = *world.readDocument(words.take("the parameters")).asDictionary();
    }
    world.manager().requestMethod(
        method, path, parameters,
        [hear = world.blockEar()](const Value& response) {
            hear({"requestSucceeded", {{"answer", printJSON(response, JSONLayout::OneLine)}}});
        },
        hearingFailure(world, "requestFailed"));
}

}  // namespace

const VerbTable& hostRequestVerbs() {
    static const VerbTable verbs{
        {"requestVerificationCode", requestVerificationCode},
        {"verifyUserCode", verifyUserCode},
        {"addTag", manageTag<&PushClientManager::addTag>},
        {"removeTag", manageTag<&PushClientManager::removeTag>},
        {"requestMethod", requestMethod},
    };
    return verbs;
}

}  // namespace xel::scenario
