#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {
namespace {

std::vector<std::string> takeChannels(Words& words) {
    return words.takeIf("channels") ? words.takeList("channels") : std::vector<std::string>();
}

void registerApplication(ScenarioWorld& world, Words& words) {
    const auto appId = words.takeOptional("an application id");
    const auto apiKey = words.takeOptional("an API key");
    const auto userName = words.takeOptional("a user name");
    const auto password = words.takeOptional("a password");
    world.lastResult = world.manager().registerApplication(appId, apiKey, userName, password);
}

/// "registerUser <id> [channels a,b] [with handler | with no handler]".
void registerUser(ScenarioWorld& world, Words& words) {
    const auto userId = words.takeOptional("a user id");
    const auto channels = takeChannels(words);
    if (!words.takeIf("with")) {
        world.lastResult = world.manager().registerUser(userId, channels);
        return;
    }
    PushClientRegistrationHandlerBlock handler;
    if (!words.takeIf("no")) {
        handler = [hear = world.blockEar()](bool registered, const std::optional<std::string>& user,
                                            const std::optional<NSError>& error) {
            Fields fields = error ? fieldsOf(*error) : Fields();
            fields.emplace_back("registered", yesOrNo(registered));
            fields.emplace_back("user", user.value_or("(null)"));
            hear({"registrationHandler", std::move(fields)});
        };
    }
    words.take("handler");
    world.lastResult = world.manager().registerUser(userId, channels, handler);
}

void registerAgainWithUserId(ScenarioWorld& world, Words& words) {
    const auto userId = words.takeOptional("a user id");
    world.lastResult = world.manager().registerAgainWithUserId(userId, takeChannels(words));
}

void registerDeviceToServer(ScenarioWorld& world, Words& /*words*/) {
    world.lastResult = world.manager().registerDeviceToServer();
}

/// "unregisterUser [with blocks]".
void unregisterUser(ScenarioWorld& world, Words& words) {
    if (!words.takeIf("with")) {
        world.manager().unregisterUser();
        return;
    }
    words.take("blocks");
    world.manager().unregisterUser(
        [hear = world.blockEar()](const Value&) {
            hear({"unregistered", {}});
        },
        [hear = world.blockEar()](const NSError& error) {
            hear({"unregisterFailed", fieldsOf(error)});
        });
}

void reset(ScenarioWorld& world, Words& /*words*/) {
    world.manager().reset();
}

void setUserId(ScenarioWorld& world, Words& words) {
    world.manager().setUserId(words.takeOptional("a user id"));
}

void setDeviceId(ScenarioWorld& world, Words& words) {
    world.manager().setDeviceId(words.takeOptional("a device id"));
}

void setUserInfo(ScenarioWorld& world, Words& words) {
    const auto document = world.readDocument(words.take("a document"));
    world.manager().setUserInfo(*document.asDictionary());
}

void setClientVersion(ScenarioWorld& world, Words& words) {
    world.manager().setClientVersion(words.take("a version"));
}

void setEnableLog(ScenarioWorld& world, Words& words) {
    world.manager().setEnableLog(words.takeFlag("the switch"));
}

void setDeliveryChannelEnabeled(ScenarioWorld& world, Words& words) {
    world.manager().setDeliveryChannelEnabeled(words.takeFlag("the switch"));
}

void setUsingSSLConnection(ScenarioWorld& world, Words& words) {
    world.manager().setUsingSSLConnection(words.takeFlag("the switch"));
}

void setDevelopment(ScenarioWorld& /*world*/, Words& words) {
    PushClientManager::setDevelopment(words.takeFlag("the switch"));
}

void setLaunchStats(ScenarioWorld& world, Words& /*words*/) {
    world.manager().setLaunchStats();
}

}  // namespace

const VerbTable& hostIdentityVerbs() {
    static const VerbTable verbs{
        {"registerApplication", registerApplication},
        {"registerUser", registerUser},
        {"registerAgainWithUserId", registerAgainWithUserId},
        {"registerDeviceToServer", registerDeviceToServer},
        {"unregisterUser", unregisterUser},
        {"reset", reset},
        {"setUserId", setUserId},
        {"setDeviceId", setDeviceId},
        {"setUserInfo", setUserInfo},
        {"setClientVersion", setClientVersion},
        {"setEnableLog", setEnableLog},
        {"setDeliveryChannelEnabeled", setDeliveryChannelEnabeled},
        {"setUsingSSLConnection", setUsingSSLConnection},
        {"setDevelopment", setDevelopment},
        {"setLaunchStats", setLaunchStats},
    };
    return verbs;
}

}  // namespace xel::scenario
