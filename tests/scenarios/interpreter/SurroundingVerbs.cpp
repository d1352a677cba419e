#include <chrono>

#include "tests/scenarios/interpreter/VerbTable.h"

namespace xel::scenario {

NSURLErrorCode errorCodeNamed(const std::string& name) {
    static const std::map<std::string, NSURLErrorCode, std::less<>> codes{
        {"timed-out", NSURLErrorCode::TimedOut},
        {"cannot-connect", NSURLErrorCode::CannotConnectToHost},
        {"connection-lost", NSURLErrorCode::NetworkConnectionLost},
        {"not-connected", NSURLErrorCode::NotConnectedToInternet},
        {"bad-response", NSURLErrorCode::BadServerResponse},
        {"data-not-allowed", NSURLErrorCode::DataNotAllowed},
        {"cancelled", NSURLErrorCode::Cancelled},
    };
    const auto code = codes.find(name);
    if (code == codes.end()) {
        throw ScenarioFailure("no failure of a request is called " + name);
    }
    return code->second;
}

namespace {

/// "answers <method> <path> <status> [body]".
void answers(ScenarioWorld& world, Words& words) {
    const auto method = words.take("a method");
    const auto path = words.take("a path");
    const auto status = static_cast<int>(words.takeNumber("a status"));
    world.machine->http->answer(method, path, status, words.isAtEnd() ? "" : words.take("a body"));
}

/// "always <method> <path> <status> [body]".
void always(ScenarioWorld& world, Words& words) {
    const auto method = words.take("a method");
    const auto path = words.take("a path");
    const auto status = static_cast<int>(words.takeNumber("a status"));
    world.machine->http->answerAlways(method, path, status, words.isAtEnd() ? "" : words.take("a body"));
}

/// "fails <method> <path> <reason>".
void fails(ScenarioWorld& world, Words& words) {
    const auto method = words.take("a method");
    const auto path = words.take("a path");
    const auto reason = words.take("a reason");
    world.machine->http->fail(method, path, errorCodeNamed(reason), reason);
}

Data octetsOf(const std::string& text) {
    return {text.begin(), text.end()};
}

}  // namespace

void performRest(ScenarioWorld& world, Words& words) {
    static const VerbTable verbs{{"answers", answers}, {"always", always}, {"fails", fails}};
    performFrom(verbs, world, words, "an act of the backend's");
}

void performApplication(ScenarioWorld& world, Words& words) {
    static const VerbTable verbs{
        {"becomes-active", [](ScenarioWorld& w, Words&) { w.machine->application->didBecomeActive(); }},
        {"resigns-active", [](ScenarioWorld& w, Words&) { w.machine->application->willResignActive(); }},
        {"enters-background", [](ScenarioWorld& w, Words&) { w.machine->application->didEnterBackground(); }},
        {"enters-foreground",
         [](ScenarioWorld& w, Words&) { w.machine->application->willEnterForeground(); }},
        {"terminates", [](ScenarioWorld& w, Words&) { w.machine->application->willTerminate(); }},
        {"runs-out-of-time",
         [](ScenarioWorld& w, Words&) {
             if (w.machine->application->applicationState() != UIApplicationState::Background) {
                 throw StepDoesNotApply("only an application in the background runs out of time");
             }
             w.machine->application->expireBackgroundTasks();
         }},
        {"gives-token",
         [](ScenarioWorld& w, Words& rest) {
             w.machine->application->answerWithToken(octetsOf(rest.take("a token")));
         }},
        {"gives-no-token",
         [](ScenarioWorld& w, Words&) {
             w.machine->application->answerWithFailure(
                 makeError("NSCocoaErrorDomain", 3000, "no push tokens here"));
         }},
        {"holds-answers", [](ScenarioWorld& w, Words&) { w.machine->application->setHoldingAnswers(true); }},
        {"releases-answers", [](ScenarioWorld& w, Words&) { w.machine->application->releaseAnswers(); }},
        {"is-of-an-older-system",
         [](ScenarioWorld& w, Words&) {
             w.machine->application->setRespondsToRegisterUserNotificationSettings(false);
         }},
        {"runs-on",
         [](ScenarioWorld& w, Words& rest) { w.machine->device->setSystemVersion(rest.take("a version")); }},
        {"has-badge",
         [](ScenarioWorld& w, Words& rest) {
             w.machine->application->setApplicationIconBadgeNumber(rest.takeNumber("a badge"));
         }},
    };
    performFrom(verbs, world, words, "an event of the application's");
}

void performUser(ScenarioWorld& world, Words& words) {
    static const VerbTable verbs{
        {"denies-notifications",
         [](ScenarioWorld& w, Words&) { w.machine->application->setAllowedTypes(0); }},
        {"taps",
         [](ScenarioWorld& w, Words& rest) {
             const bool isComplete = w.machine->notificationCenter->respond({rest.take("an action"), {}});
             w.done.record({isComplete ? "completed" : "not-completed", {}});
         }},
        {"is-shown",
         [](ScenarioWorld& w, Words& rest) {
             const auto info = *w.readDocument(rest.take("the details")).asDictionary();
             const auto options = w.machine->notificationCenter->present({"request", info});
             w.done.record({options ? "presented-with-" + std::to_string(*options) : "not-presented", {}});
         }},
    };
    performFrom(verbs, world, words, "an act of the user's");
}

/// "network becomes none | wifi | cellular", "network tells again".
void performNetwork(ScenarioWorld& world, Words& words) {
    auto& links = *world.machine->reachability;
    if (words.takeIf("tells")) {
        words.take("again");
        links.setNetwork(true, links.getConnectionType());
        return;
    }
    words.take("becomes");
    const auto type = words.take("a network");
    if (type == "none") {
        links.setNetwork(false, PushClientServerReachabilityNoNetworkFoundType);
    } else if (type == "wifi") {
        links.setNetwork(true, PushClientServerReachabilityWifiNetworkType);
    } else if (type == "cellular") {
        links.setNetwork(true, PushClientServerReachabilityCelluarNetworkType);
    } else {
        throw ScenarioFailure("no network is called " + type);
    }
}

/// "disk works", "disk answers-turns", "disk releases-turns": no fault of the disk's is left, one commit of
/// each turn is made, none is held any more.
void performDisk(ScenarioWorld& world, Words& words) {
    static const VerbTable verbs{
        {"works",
         [](ScenarioWorld& w, Words&) {
             w.service->heal(FaultKind::DiskFails);
             w.service->heal(FaultKind::DiskIsFull);
         }},
        {"answers-turns", [](ScenarioWorld& w, Words&) { w.machine->disk->answerHeldTurnCommits(); }},
        {"releases-turns", [](ScenarioWorld& w, Words&) { w.service->heal(FaultKind::DiskHoldsTurns); }},
    };
    performFrom(verbs, world, words, "a state of the disk's");
}

/// "time passes <n> s | ms", "time jumps <n> s": the date, not the deadlines.
void performTime(ScenarioWorld& world, Words& words) {
    const bool isJump = words.takeIf("jumps");
    if (!isJump) {
        words.take("passes");
    }
    const auto amount = words.takeNumber("an amount");
    const auto unit = words.take("a unit");
    if (unit != "s" && unit != "ms") {
        throw ScenarioFailure("time is in s or ms");
    }
    const std::chrono::milliseconds time(unit == "s" ? amount * 1000 : amount);
    if (isJump) {
        auto& clock = *world.machine->clock;
        clock.setDate(clock.now() + std::chrono::duration<double>(time));
    } else {
        world.letHappen(time);
    }
}

}  // namespace xel::scenario
