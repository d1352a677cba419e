#include <functional>

#include "XelPushClient/Foundation/JSONPrinter.h"
#include "tests/FirstAndLast.h"
#include "tests/scenarios/interpreter/Requirements.h"
#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {
namespace {

/// The rest of the words as field and value in turn, with what stands for the time filled in.
std::vector<std::string> takeFields(const ScenarioWorld& world, Words& words) {
    auto fields = words.takeRest();
    for (std::size_t i = 1; i < fields.size(); i += 2) {
        fields[i] = world.filled(fields[i]);
    }
    return fields;
}

template <Journal ScenarioWorld::*journal>
void expectEntry(ScenarioWorld& world, Words& words) {
    const auto name = words.take("a name");
    (world.*journal).expectNext(name, takeFields(world, words));
}

/// "states a b c": exactly these reports since the last such step.
template <Journal ScenarioWorld::*journal>
void expectStates(ScenarioWorld& world, Words& words) {
    for (const auto& state : words.takeRest()) {
        if (state != "none") {
            (world.*journal).expectNext(state, {});
        }
    }
    (world.*journal).expectNone("");
}

void expectBlock(ScenarioWorld& world, Words& words) {
    if (words.takeIf("states")) {
        expectStates<&ScenarioWorld::blockStates>(world, words);
    } else {
        expectEntry<&ScenarioWorld::blocks>(world, words);
    }
}

void expectNotification(ScenarioWorld& world, Words& words) {
    if (words.takeIf("states")) {
        expectStates<&ScenarioWorld::notificationStates>(world, words);
    } else {
        expectEntry<&ScenarioWorld::notifications>(world, words);
    }
}

/// "subscribed a,b": these channels are the next reports, in this order.
void expectSubscribed(ScenarioWorld& world, Words& words) {
    for (const auto& channel : words.takeList("channels")) {
        world.callbacks.expectNext("pushClientManagerDidSubscribed", {"channel", channel});
    }
}

/// "messages a,b": these ids are the next messages, in this order.
void expectMessages(ScenarioWorld& world, Words& words) {
    for (const auto& id : words.takeList("ids")) {
        world.callbacks.expectNext("pushClientManagerDidReceivedMessage", {"id", id});
    }
}

void expectAcknowledgements(ScenarioWorld& world, Words& words) {
    const auto count = words.takeNumber("a count");
    for (long long i = 0; i < count; ++i) {
        world.acknowledgements.expectNext("PUBACK", {});
    }
    world.acknowledgements.expectNone("");
}

/// "unacknowledged <client> <n>": what the broker still has for that client.
void expectUnacknowledged(ScenarioWorld& world, Words& words) {
    const auto client = words.take("a client id");
    const auto wanted = words.take("a count");
    requireEqual(std::to_string(world.machine->broker->unacknowledgedCount(client)), wanted, "the count");
}

Dictionary readBody(const ScenarioWorld& world, const std::string& body) {
    const auto read = world.machine->json->JSONObjectWithData(body);
    require(read.isOk() && read.value().asDictionary() != nullptr, "the body is no JSON object: " + body);
    return *read.value().asDictionary();
}

void requireMembers(const Dictionary& body, const Value& wanted) {
    for (const auto& [key, value] : *wanted.asDictionary()) {
        const Value* found = body.find(key);
        require(found != nullptr && *found == value,
                "the body differs at " + key + ": " + printJSON(body, JSONLayout::OneLine));
    }
}

void requireBody(const ScenarioWorld& world, const std::string& body, const Value& wanted) {
    requireMembers(readBody(world, body), wanted);
}

/// What a later step recognises a member by: a text as it is, everything else as JSON.
std::string memberAsText(const Dictionary& body, const std::string& key) {
    const Value* found = body.find(key);
    require(found != nullptr, "the body has no " + key);
    return found->asString() != nullptr ? *found->asString() : printJSON(*found, JSONLayout::OneLine);
}

/// "publication <topic> [body {some of its members}] [exactly {all}] [keeping id as name] [field value ...]":
/// the next packet is a PUBLISH, with those fields of a packet.
void expectPublication(ScenarioWorld& world, Words& words) {
    std::vector<std::string> fields{"topic", words.take("a topic")};
    std::vector<std::function<void(const Dictionary&)>> checks;
    while (!words.isAtEnd()) {
        const auto word = words.take("a field");
        if (word == "body") {
            checks.emplace_back([wanted = world.readDocument(words.take("a document"))](
                                    const Dictionary& body) { requireMembers(body, wanted); });
        } else if (word == "exactly") {
            checks.emplace_back(
                [wanted = world.readDocument(words.take("a document"))](const Dictionary& body) {
                    require(Value(body) == wanted, "the body is " + printJSON(body, JSONLayout::OneLine));
                });
        } else if (word == "keeping") {
            const auto key = words.take("a key");
            words.take("as");
            checks.emplace_back([&world, key, name = words.take("a name")](const Dictionary& body) {
                world.kept[name] = memberAsText(body, key);
            });
        } else {
            fields.push_back(word);
            fields.push_back(world.filled(words.take("a value")));
        }
    }
    const auto packet = world.packets.expectNext("PUBLISH", fields);
    for (const auto& [field, value] : packet.fields) {
        if (field == "payload") {
            for (const auto& check : checks) {
                check(readBody(world, value));
            }
        }
    }
}

/// "request <method> <path> [query text] [body {some of its members}] [lacking key,key]".
void expectRequest(ScenarioWorld& world, Words& words) {
    const auto method = words.take("a method");
    const auto path = words.take("a path");
    require(!world.collectedRequests.empty(), "there is no request left");
    const auto request = firstOf(world.collectedRequests);
    world.requests.expectNext(method, {});
    world.collectedRequests.erase(world.collectedRequests.begin());
    require(urlHasPath(request.url, path), "the request went to " + request.url);
    while (!words.isAtEnd()) {
        if (words.takeIf("query")) {
            const auto text = words.take("a query");
            require(request.url.ends_with("?" + text), "the query differs: " + request.url);
        } else if (words.takeIf("host")) {
            const auto host = words.take("a host");
            require(request.url.find("://" + host + "/") != std::string::npos,
                    "the request went to " + request.url);
        } else if (words.takeIf("body")) {
            requireBody(world, request.body, world.readDocument(words.take("a document")));
        } else if (words.takeIf("lacking")) {
            for (const auto& key : words.takeList("keys")) {
                const bool isThere = request.body.find("\"" + key + "\":") != std::string::npos;
                require(!isThere, "the body has " + key + ": " + request.body);
            }
        } else {
            return;
        }
    }
}

/// "no callback [name]", "no packet [name]" and so on.
void expectNo(ScenarioWorld& world, Words& words) {
    const auto what = words.take("what");
    const std::string name = words.isAtEnd() ? "" : words.take("a name");
    static const std::map<std::string, Journal ScenarioWorld::*, std::less<>> journals{
        {"callback", &ScenarioWorld::callbacks},
        {"block", &ScenarioWorld::blocks},
        {"notification", &ScenarioWorld::notifications},
        {"packet", &ScenarioWorld::packets},
        {"attempt", &ScenarioWorld::attempts},
        {"request", &ScenarioWorld::requests},
        {"shown", &ScenarioWorld::shown},
        {"done", &ScenarioWorld::done},
        {"acknowledgement", &ScenarioWorld::acknowledgements}};
    if (what == "log") {
        for (auto at = world.nextLogLine; at < world.logLines.size(); ++at) {
            require(world.logLines[at].find(name) == std::string::npos,
                    "a log line says: " + world.logLines[at]);
        }
        return;
    }
    const auto journal = journals.find(what);
    require(journal != journals.end(), "nothing that may be missing is called " + what);
    (world.*(journal->second)).expectNone(name);
}

}  // namespace

void performExpect(ScenarioWorld& world, Words& words) {
    static const VerbTable verbs{
        {"callback", expectEntry<&ScenarioWorld::callbacks>},
        {"states", expectStates<&ScenarioWorld::states>},
        {"block", expectBlock},
        {"notification", expectNotification},
        {"packet", expectEntry<&ScenarioWorld::packets>},
        {"attempt", expectEntry<&ScenarioWorld::attempts>},
        {"shown", expectEntry<&ScenarioWorld::shown>},
        {"done", expectEntry<&ScenarioWorld::done>},
        {"subscribed", expectSubscribed},
        {"messages", expectMessages},
        {"acknowledgements", expectAcknowledgements},
        {"unacknowledged", expectUnacknowledged},
        {"request", expectRequest},
        {"publication", expectPublication},
        {"no", expectNo},
    };
    const auto word = words.take("something to expect");
    for (const auto* table : {&verbs, &stateExpectations(), &notificationExpectations()}) {
        if (const auto verb = table->find(word); verb != table->end()) {
            verb->second(world, words);
            return;
        }
    }
    throw ScenarioFailure("\"" + word + "\" is nothing to expect");
}

/// "forget": everything that happened so far.
void performForget(ScenarioWorld& world, Words& /*words*/) {
    for (auto* journal :
         {&world.callbacks, &world.states, &world.blocks, &world.blockStates, &world.notifications,
          &world.notificationStates, &world.packets, &world.acknowledgements, &world.attempts,
          &world.requests, &world.shown, &world.done}) {
        journal->clear();
    }
    world.collectedRequests.clear();
    world.nextLogLine = world.logLines.size();
}

}  // namespace xel::scenario
