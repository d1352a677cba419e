#include "tests/scenarios/interpreter/VerbTable.h"

#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel::scenario {
namespace {

/// "inside <callback> host ..." and "inside <callback> catching host ...": what the host does in its next
/// such callback; "inside <callback> kill" and "inside <callback> quit": the end comes there.
void performInside(ScenarioWorld& world, Words& words) {
    const auto callback = words.take("a callback");
    const bool isCatching = words.takeIf("catching");
    if (words.takeIf("host")) {
        world.arrangeInside(callback, words.takeRest(), isCatching);
        return;
    }
    const auto end = words.take("what happens");
    if (end != "kill" && end != "quit") {
        throw ScenarioFailure("inside a callback acts the host, or the end comes by \"kill\" or \"quit\"");
    }
    world.arrangeInside(callback, {end}, isCatching);
}

/// "service heals": every fault ends.
void performService(ScenarioWorld& world, Words& words) {
    words.take("heals");
    world.service->heal();
}

/// "as <client> <step>": the step is that client's.
void performAs(ScenarioWorld& world, Words& words) {
    const auto before = world.actAs(words.take("a client"));
    const OnLeaving goBack([&] { static_cast<void>(world.actAs(before)); });
    verbNamed(words.take("a verb"))(world, words);
}

void performHostStep(ScenarioWorld& world, Words& words) {
    world.actAsHost(words.takeRest());
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

/// "given the main loop apart", "given a backend that answers".
void performGiven(ScenarioWorld& world, Words& words) {
    const auto what = words.takeRest();
    if (what == std::vector<std::string>{"the", "main", "loop", "apart"}) {
        world.useMainLoopApart();
    } else if (what == std::vector<std::string>{"a", "backend", "that", "answers"}) {
        world.service->backend().setServing(true);
    } else {
        throw ScenarioFailure("\"given the main loop apart\" or \"given a backend that answers\" is meant");
    }
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
        {"as", performAs},
        {"host", performHostStep},
        {"broker", performBroker},
        {"rest", performRest},
        {"application", performApplication},
        {"user", performUser},
        {"network", performNetwork},
        {"device", performDevice},
        {"disk", performDisk},
        {"time", performTime},
        {"media", performMedia},
        {"expect", performExpect},
        {"forget", performForget},
        {"inside", performInside},
        {"kill", performKill},
        {"quit", performQuit},
        {"pause", performPause},
        {"service", performService},
        {"go", performGo},
        {"given", performGiven},
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
            words.requireEnd();
            return;
        }
    }
    throw ScenarioFailure("\"" + operation + "\" is no operation of the host's");
}

}  // namespace xel::scenario
