// What other programs say over D-Bus, once it is decoded: the notification server, UnifiedPush
// distributors, GeoClue and logind. Any value may be of any type, and then reads as missing; what is read
// keeps its bounds.
//
// Input: a digit for who speaks; then the arguments: a name, a digit for the type and the value, each in a
// line.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sdbus-c++/Types.h>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Desktop/NotifyCall.h"
#include "XelPushClient/Linux/Location/GeoClueFix.h"
#include "XelPushClient/Linux/Push/UnifiedPushCalls.h"
#include "XelPushClient/Linux/Push/UnifiedPushRules.h"
#include "XelPushClient/Linux/Push/WebPushDecryption.h"
#include "XelPushClient/Linux/Sleep/LogindSleepWatch.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

using Arguments = std::map<std::string, sdbus::Variant>;
using Timestamp = sdbus::Struct<std::uint64_t, std::uint64_t>;

constexpr std::size_t kMostArguments = 12;

/// D-Bus hands over nothing but UTF-8 without NUL and non-characters: the library aborts the call before we
/// see it.
std::string text(std::string_view octets) {
    std::string clean;
    while (!octets.empty()) {
        std::string_view rest = octets;
        const char32_t character = takeFirstCharacter(rest);
        const auto taken = octets.substr(0, octets.size() - rest.size());
        clean += isValidUTF8(taken) && !isNonCharacter(character) && character != 0 ? taken : "?";
        octets = rest;
    }
    return clean;
}

sdbus::Variant valueOf(std::size_t type, const std::string& line) {
    const double number = std::strtod(line.c_str(), nullptr);
    const std::uint64_t whole = std::strtoull(line.c_str(), nullptr, 10);
    switch (type) {
        case 0: return sdbus::Variant(text(line));
        case 1: return sdbus::Variant(std::vector<std::uint8_t>(line.begin(), line.end()));
        case 2: return sdbus::Variant(number);
        case 3: return sdbus::Variant(whole);
        case 4: return sdbus::Variant(Timestamp(whole, whole));
        case 5: return sdbus::Variant(static_cast<std::int32_t>(whole));
        case 6: return sdbus::Variant(whole % 2 == 1);
        case 7: return sdbus::Variant(static_cast<std::int64_t>(whole));
        case 8: return sdbus::Variant(std::vector<std::string>{text(line)});
        default: return sdbus::Variant(Arguments{{text(line), sdbus::Variant(number)}});
    }
}

Arguments argumentsOf(fuzz::FuzzInput& input) {
    Arguments arguments;
    for (std::size_t count = 0; !input.isAtEnd() && count < kMostArguments; ++count) {
        const std::string name = input.line();
        const std::size_t type = input.below(10);
        arguments[name] = valueOf(type, input.line());
    }
    return arguments;
}

template <class T>
std::optional<T> valueUnder(const Arguments& arguments, const std::string& name) {
    const auto found = arguments.find(name);
    return found != arguments.end() && found->second.peekValueType() == sdbus::signature_of<T>::str()
               ? std::optional(found->second.get<T>())
               : std::nullopt;
}

void checkDistributor(const Arguments& arguments) {
    const auto token = tokenOfCall(arguments);
    const auto said = valueUnder<std::string>(arguments, "token");
    require(token == (said && !said->empty() && said->size() <= 100 ? said : std::nullopt),
            "a token is a short text");
    const auto message = messageOfCall(arguments);
    const auto octets = valueUnder<std::vector<std::uint8_t>>(arguments, "message");
    require(message.has_value() ==
                (token && octets && !octets->empty() && octets->size() <= kLargestWebPushMessage),
            "a message has octets, and not too many");
    require(!message || (message->token == token && message->message == octets),
            "a message is the one that was sent");
    const auto endpoint = endpointOfCall(arguments);
    require(!endpoint || (endpoint->token == token && isPushEndpoint(endpoint->endpoint)),
            "an endpoint is a URL");
    const auto refusal = refusalOfAnswer(arguments);
    require(
        refusal.has_value() == (valueUnder<std::string>(arguments, "success") != "REGISTRATION_SUCCEEDED"),
        "what does not say that it succeeded did not");
    const auto reason = valueUnder<std::string>(arguments, "reason").value_or("");
    require(
        !refusal || reason.size() < 32 || refusal->localizedDescription().find(reason) == std::string::npos,
        "a distributor's own words are not repeated");
}

void checkNames(const Arguments& arguments) {
    DistributorNames names;
    for (const auto& [name, value] : arguments) {
        require(!isDistributorName(name) || isBusName(name), "a distributor has a name of the bus");
        require(!isBusName(name) || (name.size() <= 255 && name.find_first_of("/ :\n") == std::string::npos),
                "a name of the bus is one");
        (isDistributorName(name) ? names.running : names.activatable).push_back(name);
    }
    const auto chosen = chosenDistributor(names, "org.unifiedpush.Distributor.mine", "org.example.last");
    require(chosen.has_value() == !arguments.empty() && (!chosen || arguments.contains(*chosen)),
            "somebody who is there is chosen");
}

void checkNotificationServer(const Arguments& arguments) {
    std::vector<std::string> words;
    const std::vector<UNNotificationAction> actions{{"open", "Open", 0}, {"later", "Later", 0}};
    for (const auto& [name, value] : arguments) {
        words.push_back(name);
        const auto identifier = actionIdentifierOfKey(actions, name);
        const bool isGiven = name == "default" || name.find_last_not_of("0") == std::string::npos ||
                             name.substr(std::min(name.find_first_not_of('0'), name.size())) == "1";
        require(identifier.has_value() == (isGiven && !name.empty()),
                "only a key that was given is an action");
    }
    const auto can = serverCapabilities(words);
    require(can.actions == arguments.contains("actions") &&
                can.bodyMarkup == arguments.contains("body-markup") &&
                can.sound == arguments.contains("sound"),
            "a server can do what it says");
}

void checkGeoClue(const Arguments& arguments) {
    const CLLocation location = locationOf(fixOfProperties(arguments));
    const auto latitude = valueUnder<double>(arguments, "Latitude");
    require(latitude ? location.coordinate.latitude == *latitude || std::isnan(*latitude)
                     : !CLLocationCoordinate2DIsValid(location.coordinate),
            "without a latitude a fix is nowhere");
    require(location.horizontalAccuracy == -1.0 ||
                (location.horizontalAccuracy >= 5.0 && std::isfinite(location.horizontalAccuracy)),
            "an accuracy is known, or not");
    require(location.speed == -1.0 || (location.speed >= 0.0 && std::isfinite(location.speed)),
            "a speed is known, or not");
    require(std::isfinite(secondsSince1970(location.timestamp)) && !describeDate(location.timestamp).empty(),
            "a fix is of some time");
    for (const auto& [name, value] : arguments) {
        const auto error = locationErrorOf(name, "words", std::chrono::seconds(25));
        require(!error.localizedDescription().empty(), "an error has its words");
        (void)distanceThresholdOf(valueUnder<double>(arguments, name).value_or(0.0));
    }
}

void checkLogind(const Arguments& arguments) {
    for (const auto& [name, value] : arguments) {
        const auto delay = longestDelayOf(value);
        const auto said = valueUnder<std::uint64_t>(arguments, name);
        require(delay.has_value() == said.has_value(), "a delay is a number of microseconds");
        require(!delay || (*delay >= std::chrono::milliseconds(0) &&
                           *delay <= 2 * LinuxApplication::kBackgroundTime),
                "a delay is bounded");
        require(!delay || *said >= 1'000'000'000 || *delay == std::chrono::milliseconds(*said / 1000) ||
                    *delay == 2 * LinuxApplication::kBackgroundTime,
                "a delay is the one that was said");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    const std::size_t who = input.below(4);
    const Arguments arguments = argumentsOf(input);
    switch (who) {
        case 0: checkNotificationServer(arguments); break;
        case 1:
            checkDistributor(arguments);
            checkNames(arguments);
            break;
        case 2: checkGeoClue(arguments); break;
        default: checkLogind(arguments); break;
    }
    return 0;
}
