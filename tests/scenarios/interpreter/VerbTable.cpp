#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {
namespace {

/// "inside <callback> host ..." and "inside <callback> catching host ...": what the host does in its next
/// such callback.
void performInside(ScenarioWorld& world, Words& words) {
    const auto callback = words.take("a callback");
    const bool isCatching = words.takeIf("catching");
    if (words.take("host") != "host") {
        throw ScenarioFailure("only the host acts inside a callback");
    }
    world.arrangeInside(callback, words.takeRest(), isCatching);
}

/// "kill", then "restart" by the next step of the host's.
void performKill(ScenarioWorld& world, Words& /*words*/) {
    world.kill();
}
void performQuit(ScenarioWorld& world, Words& /*words*/) {
    world.quit();
}

/// "pause" lets steps follow each other at once, until "go on".
void performPause(ScenarioWorld& world, Words& /*words*/) {
    world.setPaused(true);
}

void performGo(ScenarioWorld& world, Words& words) {
    if (words.take("on") != "on") {
        throw ScenarioFailure("\"go on\" is meant");
    }
    world.setPaused(false);
}

/// "given the main loop apart".
void performGiven(ScenarioWorld& world, Words& words) {
    if (words.takeRest() != std::vector<std::string>{"the", "main", "loop", "apart"}) {
        throw ScenarioFailure("\"given the main loop apart\" is meant");
    }
    world.useMainLoopApart();
}

}  // namespace

void performFrom(const VerbTable& table, ScenarioWorld& world, Words& words, std::string_view what) {
    const auto word = words.take(what);
    const auto verb = table.find(word);
    if (verb == table.end()) {
        throw ScenarioFailure("\"" + word + "\" is not " + std::string(what));
    }
    verb->second(world, words);
}

Verb verbNamed(const std::string& name) {
    static const VerbTable verbs{
        {"host", performHost},     {"broker", performBroker},
        {"rest", performRest},     {"application", performApplication},
        {"user", performUser},     {"network", performNetwork},
        {"device", performDevice}, {"disk", performDisk},
        {"time", performTime},     {"media", performMedia},
        {"expect", performExpect}, {"forget", performForget},
        {"inside", performInside}, {"kill", performKill},
        {"quit", performQuit},     {"pause", performPause},
        {"go", performGo},         {"given", performGiven},
    };
    const auto verb = verbs.find(name);
    if (verb == verbs.end()) {
        throw ScenarioFailure("\"" + name + "\" is no verb");
    }
    return verb->second;
}

void performHost(ScenarioWorld& world, Words& words) {
    const auto operation = words.take("an operation of the host's");
    for (const auto* table :
         {&hostIdentityVerbs(), &hostConnectionVerbs(), &hostCallbackVerbs(), &hostPublishingVerbs(),
          &hostRequestVerbs(), &hostNotificationVerbs(), &hostLocationVerbs()}) {
        if (const auto verb = table->find(operation); verb != table->end()) {
            verb->second(world, words);
            return;
        }
    }
    throw ScenarioFailure("\"" + operation + "\" is no operation of the host's");
}

}  // namespace xel::scenario
