#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {
namespace {

void connectToServer(ScenarioWorld& world, Words& /*words*/) {
    world.manager().connectToServer();
}

void disconnectFromServer(ScenarioWorld& world, Words& /*words*/) {
    world.manager().disconnectFromServer();
}

/// "enqueueWhenSessionIsConnected <label>": the label is noted as deferred work when the block runs.
void enqueueWhenSessionIsConnected(ScenarioWorld& world, Words& words) {
    const auto label = words.take("a label");
    world.manager().enqueueWhenSessionIsConnected([&world, label] { world.done.record({label, {}}); });
}

void subscribe(ScenarioWorld& world, Words& words) {
    const auto channel = words.take("a channel");
    world.manager().subscribe(channel, {.live = words.takeIf("live")});
}

void subscribeList(ScenarioWorld& world, Words& words) {
    const auto channels = words.takeList("channels");
    world.manager().subscribeList(channels, {.live = words.takeIf("live")});
}

void unsubscribe(ScenarioWorld& world, Words& words) {
    world.manager().unsubscribe(words.take("a channel"));
}

std::optional<std::string> takeInstallation(Words& words) {
    return words.takeIf("installation") ? std::optional<std::string>(words.take("an installation id"))
                                        : std::nullopt;
}

void subscribeEvent(ScenarioWorld& world, Words& words) {
    const auto name = words.take("an event");
    const auto installation = takeInstallation(words);
    world.manager().subscribeEvent(name, {.installationId = installation, .live = words.takeIf("live")});
}

void unsubscribeEvent(ScenarioWorld& world, Words& words) {
    const auto name = words.take("an event");
    world.manager().unsubscribeEvent(name, takeInstallation(words));
}

void updateNotificationSettings(ScenarioWorld& world, Words& words) {
    const auto channel = words.take("a channel");
    const auto sound = words.take("a sound");
    world.manager().updateNotificationSettings(channel, sound, words.takeFlag("the alert"));
}

void removeAppLifeCyclesFunctionality(ScenarioWorld& world, Words& /*words*/) {
    world.manager().removeAppLifeCyclesFunctionality();
}

void registerForAPNsToken(ScenarioWorld& world, Words& /*words*/) {
    world.manager().registerForAPNsToken();
}

void resetBadge(ScenarioWorld& world, Words& /*words*/) {
    world.manager().resetBadge();
}

/// "applicationDidReceiveRemoteNotification {payload} [completing]": the completion's result is noted as
/// deferred work.
void applicationDidReceiveRemoteNotification(ScenarioWorld& world, Words& words) {
    const auto payload = *world.readDocument(words.take("a payload")).asDictionary();
    auto& application = *world.machine->application;
    if (words.takeIf("completing")) {
        world.manager().applicationDidReceiveRemoteNotification(application, payload, [&world](int result) {
            world.done.record({"completed-with-" + std::to_string(result), {}});
        });
    } else {
        world.manager().applicationDidReceiveRemoteNotification(application, payload);
    }
}

void applicationDidReceiveLocalNotification(ScenarioWorld& world, Words& words) {
    UILocalNotification notification;
    notification.userInfo = *world.readDocument(words.take("the details")).asDictionary();
    world.manager().applicationDidReceiveLocalNotification(*world.machine->application, notification);
}

}  // namespace

const VerbTable& hostConnectionVerbs() {
    static const VerbTable verbs{
        {"connectToServer", connectToServer},
        {"disconnectFromServer", disconnectFromServer},
        {"enqueueWhenSessionIsConnected", enqueueWhenSessionIsConnected},
        {"subscribe", subscribe},
        {"subscribeList", subscribeList},
        {"unsubscribe", unsubscribe},
        {"subscribeEvent", subscribeEvent},
        {"unsubscribeEvent", unsubscribeEvent},
        {"updateNotificationSettings", updateNotificationSettings},
        {"removeAppLifeCyclesFunctionality", removeAppLifeCyclesFunctionality},
        {"registerForAPNsToken", registerForAPNsToken},
        {"resetBadge", resetBadge},
        {"applicationDidReceiveRemoteNotification", applicationDidReceiveRemoteNotification},
        {"applicationDidReceiveLocalNotification", applicationDidReceiveLocalNotification},
    };
    return verbs;
}

}  // namespace xel::scenario
