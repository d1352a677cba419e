#include <filesystem>
#include <fstream>
#include <sstream>

#include "XelPushClient/Classes/GeoLocation/CoreGeoLocation.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "tests/scenarios/interpreter/VerbTable.h"

// Where the device is, and what a host does about it.

namespace xel::scenario {
namespace {

double takeDecimal(Words& words, std::string_view what) {
    const auto word = words.take(what);
    std::istringstream text(word);
    double number = 0.0;
    if (!(text >> number) || !(text >> std::ws).eof()) {
        throw ScenarioFailure("\"" + word + "\" is not " + std::string(what));
    }
    return number;
}

CLLocationCoordinate2D takePlace(Words& words) {
    const double latitude = takeDecimal(words, "a latitude");
    return {latitude, takeDecimal(words, "a longitude")};
}

/// "stands-at <latitude> <longitude> [accurate-to <metres>]".
void standsAt(ScenarioWorld& world, Words& words) {
    const auto place = takePlace(words);
    const double accuracy = words.takeIf("accurate-to") ? takeDecimal(words, "an accuracy") : 5.0;
    world.machine->locationSource->standAt(place, accuracy);
}

/// "follows <name>": the track in given/<name>.track, from now on.
void follows(ScenarioWorld& world, Words& words) {
    const auto file =
        std::filesystem::path(XELPUSH_SCENARIO_DIR) / "given" / (words.take("a track") + ".track");
    std::ifstream stream(file);
    std::stringstream text;
    text << stream.rdbuf();
    if (!stream) {
        throw ScenarioFailure("there is no track " + file.string());
    }
    world.machine->locationSource->play(readTrack(text.str()));
}

/// "has-no-location-service <reason>", "has-a-location-service".
void hasNoService(ScenarioWorld& world, Words& words) {
    world.machine->locationSource->fail(
        makeLocationError(LocationErrorCode::NoService, words.take("a reason")));
}
void hasAService(ScenarioWorld& world, Words& /*words*/) {
    world.machine->locationSource->work();
}

void setEnableLocationOnLaunch(ScenarioWorld& world, Words& words) {
    world.manager().setEnableLocationOnLaunch(words.takeFlag("the switch"));
}

void setLocationOnLaunchWithDictionary(ScenarioWorld& world, Words& words) {
    const auto data = world.readDocument(words.take("the data"));
    world.manager().setLocationOnLaunchWithDictionary(*data.asDictionary());
}

/// "applicationDidFinishLaunchingWithOptions {options}".
void applicationDidFinishLaunching(ScenarioWorld& world, Words& words) {
    const auto options = world.readDocument(words.take("the options"));
    world.lastResult = world.manager().applicationDidFinishLaunchingWithOptions(*world.machine->application,
                                                                                *options.asDictionary());
}

/// "trackMeUntil <seconds> <metres>".
void trackMeUntil(ScenarioWorld& world, Words& words) {
    const double seconds = takeDecimal(words, "seconds");
    const double metres = takeDecimal(words, "metres");
    world.lastResult = world.manager().instanceCoreGeoLocation().trackMeUntil(seconds, metres).isOk();
}

void stopTracking(ScenarioWorld& world, Words& /*words*/) {
    world.manager().instanceCoreGeoLocation().stopTracking();
}

/// "requestSingleLocation": its answer is noted as deferred work, "located" or "not-located".
void requestSingleLocation(ScenarioWorld& world, Words& /*words*/) {
    world.manager().instanceCoreGeoLocation().requestSingleLocation(
        [&world](const Result<CLLocation>& location) {
            const auto text = location ? formatted("%.4f", location.value().coordinate.latitude)
                                       : location.error().localizedDescription();
            world.done.record({location ? "located" : "not-located", {{"at", text}}});
        });
}

/// "publishLocation <latitude> <longitude> [data {…}] [live] [stateful]", "publishLocation (null)".
void publishLocation(ScenarioWorld& world, Words& words) {
    std::optional<CLLocation> location;
    PublishLocationOptions options;
    if (!words.takeIf("(null)")) {
        location = CLLocation{takePlace(words), 5.0, -1.0, world.machine->clock->now()};
        if (words.takeIf("data")) {
            options.data = *world.readDocument(words.take("the data")).asDictionary();
        }
        options.live = words.takeIf("live");
        options.stateful = words.takeIf("stateful");
    }
    world.manager().publishLocation(location, options);
}

}  // namespace

void performDevice(ScenarioWorld& world, Words& words) {
    static const VerbTable verbs{
        {"stands-at", standsAt},
        {"follows", follows},
        {"has-no-location-service", hasNoService},
        {"has-a-location-service", hasAService},
    };
    performFrom(verbs, world, words, "what the device does");
}

const VerbTable& hostLocationVerbs() {
    static const VerbTable verbs{
        {"setEnableLocationOnLaunch", setEnableLocationOnLaunch},
        {"setLocationOnLaunchWithDictionary", setLocationOnLaunchWithDictionary},
        {"applicationDidFinishLaunchingWithOptions", applicationDidFinishLaunching},
        {"trackMeUntil", trackMeUntil},
        {"stopTracking", stopTracking},
        {"requestSingleLocation", requestSingleLocation},
        {"publishLocation", publishLocation},
    };
    return verbs;
}

}  // namespace xel::scenario
