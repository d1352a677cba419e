#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "tests/scenarios/interpreter/Requirements.h"
#include "tests/scenarios/interpreter/VerbTable.h"

// What a scenario may expect of the client's state, of what is stored, and of the operating system.

namespace xel::scenario {
namespace {

std::string textOf(const std::optional<std::string>& text) {
    return std::string(textOrNull(text));
}

std::string launchCountOf(PushClientManager& manager) {
    const auto count = manager.getLaunchCount();
    return count ? std::to_string(*count) : "(null)";
}

std::string deviceTokenOf(PushClientManager& manager) {
    const auto& token = manager.deviceToken();
    return token ? std::string(token->begin(), token->end()) : "(null)";
}

std::string deviceSubscriptionsOf(PushClientManager& manager) {
    std::string list;
    for (const auto& channel : manager.deviceSubscriptions()) {
        list += (list.empty() ? "" : ",") + channel;
    }
    return list.empty() ? "none" : list;
}

std::string trackingOf(PushClientManager& manager) {
    switch (manager.instanceCoreGeoLocation().trackingMeState()) {
        case TrackingMeState::kStopped: return "stopped";
        case TrackingMeState::kExpired: return "expired";
        case TrackingMeState::kTracking: return "tracking";
    }
    return "(unknown)";
}

/// "g1=200,g2=50": identifiers and radii, oldest first.
std::string regionsOf(PushClientManager& manager) {
    std::string list;
    for (const auto& region : manager.instanceCoreGeoLocation().monitoredRegions()) {
        list += (list.empty() ? "" : ",") + formatted("%@=%.0f", region.identifier, region.radius);
    }
    return list.empty() ? "none" : list;
}

using Reading = std::string (*)(PushClientManager& manager);
using Client = PushClientManager;

/// The properties that a scenario may look at, and how they read.
const std::map<std::string, Reading, std::less<>>& readings() {
    static const std::map<std::string, Reading, std::less<>> all{
        {"appId", [](Client& client) { return textOf(client.appId()); }},
        {"appVersion", [](Client& client) { return textOf(client.appVersion()); }},
        {"userId", [](Client& client) { return textOf(client.userId()); }},
        {"deviceId", [](Client& client) { return textOf(client.deviceId()); }},
        {"brokerClientId", [](Client& client) { return textOf(client.brokerClientId()); }},
        {"brokerTopic", [](Client& client) { return textOf(client.brokerTopic()); }},
        {"tokenStatus", [](Client& client) { return textOf(client.tokenStatus()); }},
        {"clientVersion", [](Client& client) { return client.clientVersion(); }},
        {"isRegistered", [](Client& client) { return yesOrNo(client.isRegistered()); }},
        {"pendingRegisteration", [](Client& client) { return yesOrNo(client.pendingRegisteration()); }},
        {"usingSSLConnection", [](Client& client) { return yesOrNo(client.usingSSLConnection()); }},
        {"deliveryChannelEnabeled", [](Client& client) { return yesOrNo(client.deliveryChannelEnabeled()); }},
        {"isServerReachable", [](Client& client) { return yesOrNo(client.isServerReachable()); }},
        {"isNotificationDenied", [](Client& client) { return yesOrNo(client.isNotificationDenied()); }},
        {"launchedByUser", [](Client& client) { return yesOrNo(client.launchedByUser()); }},
        {"serverNetworkType", [](Client& client) { return networkName(client.serverNetworkType()); }},
        {"launchCount", launchCountOf},
        {"launchTime", [](Client& client) { return std::to_string(client.getLaunchTime()); }},
        {"deviceToken", deviceTokenOf},
        {"deviceSubscriptions", deviceSubscriptionsOf},
        {"trackingMeState", trackingOf},
        {"monitoredRegions", regionsOf},
        {"delegates", [](Client& client) { return std::to_string(client.delegates().size()); }},
    };
    return all;
}

/// "value <property> <value>".
void expectValue(ScenarioWorld& world, Words& words) {
    const auto name = words.take("a property");
    const auto wanted = world.filled(words.take("a value"));
    const auto reading = readings().find(name);
    require(reading != readings().end(), "nothing of the client's is called " + name);
    requireEqual(reading->second(world.manager()), wanted, name);
}

void expectState(ScenarioWorld& world, Words& words) {
    requireEqual(std::string(world.manager().connectionStateString()), words.take("a state"), "the state");
}

void expectResult(ScenarioWorld& world, Words& words) {
    const auto wanted = words.take("yes or no");
    require(world.lastResult.has_value(), "no operation answered");
    requireEqual(yesOrNo(*world.lastResult), wanted, "the result");
}

/// "failure code n description text ...": the last failure that the client keeps; "failure none".
void expectFailure(ScenarioWorld& world, Words& words) {
    const auto& failure = world.manager().failureError();
    if (words.takeIf("none")) {
        require(!failure.has_value(), "there is a failure");
        return;
    }
    require(failure.has_value(), "there is no failure");
    Journal one("failure");
    one.record({"failure", fieldsOf(*failure)});
    one.expectNext("failure", words.takeRest());
}

/// "exception <text>": one travelled out of the step before, holding the text.
void expectException(ScenarioWorld& world, Words& words) {
    const auto text = words.take("a text");
    const auto exception = world.takeException();
    require(exception.has_value(), "no exception came");
    require(exception->find(text) != std::string::npos, "the exception says: " + *exception);
}

/// "refusal <text>": an exception that the host caught inside a callback.
void expectRefusal(ScenarioWorld& world, Words& words) {
    const auto text = words.take("a text");
    require(world.lastRefusal.has_value(), "nothing was refused");
    require(world.lastRefusal->find(text) != std::string::npos, "the refusal says: " + *world.lastRefusal);
    world.lastRefusal.reset();
}

/// "log <text>": a line with the text, behind the line that was found last.
void expectLog(ScenarioWorld& world, Words& words) {
    const auto text = words.take("a text");
    for (auto at = world.nextLogLine; at < world.logLines.size(); ++at) {
        if (world.logLines[at].find(text) != std::string::npos) {
            world.nextLogLine = at + 1;
            return;
        }
    }
    std::string lines;
    for (auto at = world.nextLogLine; at < world.logLines.size(); ++at) {
        lines += "\n  " + world.logLines[at];
    }
    throw ScenarioFailure("no log line says \"" + text + "\"; left are" + lines);
}

/// "stored <key> <document>": what the defaults hold and a restarted process would find; "stored <key>
/// nothing".
void expectStored(ScenarioWorld& world, Words& words) {
    const auto key = words.take("a key");
    const auto wanted = words.take("a value");
    static_cast<void>(world.manager());
    const auto contents = world.machine->disk->contents("home");
    const Value* stored = contents.settings.find(key);
    if (stored == nullptr) {
        require(wanted == "nothing", key + " is not stored");
        return;
    }
    const auto* plain = stored->asString();
    const auto text = plain != nullptr ? *plain : describeValue(*stored);
    requireEqual(text, world.filled(wanted), key);
}

/// "remembered topics a=1,b=0 of <client>", "remembered outbox <n> of <client>": the session's memory on the
/// disk.
void expectRemembered(ScenarioWorld& world, Words& words) {
    const bool isTopics = words.takeIf("topics");
    if (!isTopics) {
        words.take("outbox");
    }
    const auto wanted = words.take("what is remembered");
    words.take("of");
    const auto contents = world.machine->disk->contents("home");
    const auto client = contents.clients.find(words.take("a client id"));
    const auto memory = client == contents.clients.end() ? FakeDisk::ClientMemory() : client->second;
    std::string text = std::to_string(memory.outbox.size());
    if (isTopics) {
        text = memory.grantedTopics.empty() ? "none" : "";
        for (const auto& [topic, qos] : memory.grantedTopics) {
            text += (text.empty() ? "" : ",") + topic + "=" + std::to_string(qos);
        }
    }
    requireEqual(text, wanted, "the memory");
}

/// "background-tasks <n>", "badge <n>", "permission-requests a,b", "token-requests name=types,...",
/// "cancelled <n>".
void expectBackgroundTasks(ScenarioWorld& world, Words& words) {
    const auto names = world.machine->application->runningBackgroundTaskNames();
    requireEqual(std::to_string(names.size()), words.take("a count"), "the count of background tasks");
    for (const auto& name : names) {
        requireEqual(name, "XEL PUSH BG Task", "the background task's name");
    }
}

void expectBadge(ScenarioWorld& world, Words& words) {
    requireEqual(std::to_string(world.machine->application->applicationIconBadgeNumber()),
                 words.take("a badge"), "the badge");
}

void expectCancelled(ScenarioWorld& world, Words& words) {
    requireEqual(std::to_string(world.machine->application->cancelAllCount()), words.take("a count"),
                 "how often all notifications were cancelled");
}

/// "location-updates <n>": how many run.
void expectLocationUpdates(ScenarioWorld& world, Words& words) {
    requireEqual(std::to_string(world.machine->locationSource->runningCount()), words.take("a count"),
                 "the count of location updates");
}

void expectPermissionRequests(ScenarioWorld& world, Words& words) {
    std::string list;
    for (const auto options : world.machine->notificationCenter->authorizationRequests()) {
        list += (list.empty() ? "" : ",") + std::to_string(options);
    }
    requireEqual(list.empty() ? "none" : list, words.take("a list"), "the permission requests");
}

void expectTokenRequests(ScenarioWorld& world, Words& words) {
    std::string list;
    for (const auto& request : world.machine->application->tokenRequests()) {
        list += (list.empty() ? "" : ",") + request.operation + "=" + std::to_string(request.types);
    }
    requireEqual(list.empty() ? "none" : list, words.take("a list"), "the token requests");
}

}  // namespace

const VerbTable& stateExpectations() {
    static const VerbTable verbs{
        {"value", expectValue},
        {"state", expectState},
        {"result", expectResult},
        {"failure", expectFailure},
        {"exception", expectException},
        {"refusal", expectRefusal},
        {"stored", expectStored},
        {"remembered", expectRemembered},
        {"background-tasks", expectBackgroundTasks},
        {"badge", expectBadge},
        {"cancelled", expectCancelled},
        {"permission-requests", expectPermissionRequests},
        {"token-requests", expectTokenRequests},
        {"location-updates", expectLocationUpdates},
        {"log", expectLog},
    };
    return verbs;
}

}  // namespace xel::scenario
