#include <stdexcept>

#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {
namespace {

std::shared_ptr<RecordingDelegate> delegateNamed(ScenarioWorld& world, const std::string& name) {
    auto& delegate = world.client().delegates[name];
    if (!delegate) {
        delegate = std::make_shared<RecordingDelegate>(
            [hear = world.delegateEar(), name](JournalEntry entry) {
                entry.name = name + ":" + entry.name;
                hear(std::move(entry));
            },
            world.stateReader());
    }
    return delegate;
}

/// "[responding to a,b]"; without it the delegate responds to everything.
DelegateOperations takeOperations(Words& words) {
    if (!words.takeIf("responding")) {
        return operationsOverriddenBy<RecordingDelegate>();
    }
    words.take("to");
    DelegateOperations operations;
    for (const auto& name : words.takeList("operations")) {
        operations.insert(delegateOperationNamed(name));
    }
    return operations;
}

void addDelegate(ScenarioWorld& world, Words& words) {
    const auto delegate = delegateNamed(world, words.take("a delegate"));
    world.manager().addDelegate(delegate, takeOperations(words));
}

void removeDelegate(ScenarioWorld& world, Words& words) {
    world.manager().removeDelegate(delegateNamed(world, words.take("a delegate")));
}

void removeAllDelegates(ScenarioWorld& world, Words& /*words*/) {
    world.manager().removeAllDelegates();
}

void setDelegate(ScenarioWorld& world, Words& words) {
    const auto name = words.take("a delegate");
    if (name == "(null)") {
        world.manager().setDelegate(nullptr);
    } else {
        world.manager().setDelegate(delegateNamed(world, name), takeOperations(words));
    }
}

void setMessageBlock(ScenarioWorld& world, const std::string& name) {
    auto block = [hear = world.blockEar(), name](const PushClientMessage& message) {
        hear({name, fieldsOf(message)});
    };
    auto& manager = world.manager();
    if (name == "messageHandler") {
        manager.setMessageHandler(block);
    } else if (name == "messageUILocalNotificationHandler") {
        manager.setMessageUILocalNotificationHandler(block);
    } else {
        manager.setMessageDeliveredHandler(block);
    }
}

std::function<void(bool, const std::optional<NSError>&)> hearingFlag(ScenarioWorld& world,
                                                                     const std::string& name) {
    return [hear = world.blockEar(), name](bool isTrue, const std::optional<NSError>& error) {
        Fields fields = error ? fieldsOf(*error) : Fields();
        fields.emplace_back("error", yesOrNo(error.has_value()));
        fields.emplace_back("outcome", yesOrNo(isTrue));
        hear({name, std::move(fields)});
    };
}

/// "sets <block>".
void sets(ScenarioWorld& world, Words& words) {
    const auto name = words.take("a block");
    auto& manager = world.manager();
    if (name == "serverConnectionStateHandler") {
        manager.setServerConnectionStateHandler([hear = world.blockEar()] {
            hear({"serverConnectionStateHandler", {}});
        });
    } else if (name == "serverReachabilityHandler") {
        manager.setServerReachabilityHandler(
            [hear = world.blockEar()](bool reachable, PushClientServerReachabilityNetworkType type) {
                hear({"serverReachabilityHandler",
                      {{"reachable", yesOrNo(reachable)}, {"network", networkName(type)}}});
            });
    } else if (name == "verificationHandler") {
        manager.setVerificationHandler(hearingFlag(world, name));
    } else if (name == "verifiyUserCodeHandler") {
        manager.setVerifiyUserCodeHandler(hearingFlag(world, name));
    } else if (name == "messageHandler" || name == "messageUILocalNotificationHandler" ||
               name == "messageDeliveredHandler") {
        setMessageBlock(world, name);
    } else {
        throw ScenarioFailure("no block is called " + name);
    }
}

/// "clears <block>".
void clears(ScenarioWorld& world, Words& words) {
    const auto name = words.take("a block");
    auto& manager = world.manager();
    if (name == "messageHandler") {
        manager.setMessageHandler(nullptr);
    } else if (name == "registrationHandler") {
        manager.setRegistrationHandler(nullptr);
    } else {
        throw ScenarioFailure("no block that is cleared is called " + name);
    }
}

/// "throws <text>": the host's code fails.
void throws(ScenarioWorld& /*world*/, Words& words) {
    throw std::runtime_error(words.take("a text"));
}

}  // namespace

const VerbTable& hostCallbackVerbs() {
    static const VerbTable verbs{
        {"addDelegate", addDelegate},
        {"removeDelegate", removeDelegate},
        {"removeAllDelegates", removeAllDelegates},
        {"setDelegate", setDelegate},
        {"sets", sets},
        {"clears", clears},
        {"throws", throws},
    };
    return verbs;
}

}  // namespace xel::scenario
