#include "tools/options/OptionTypes.h"

#include <charconv>
#include <cmath>

#include "XelPushClient/Linux/System/SimdjsonSerialization.h"

namespace xel::tools {

CLI::Validator jsonObject() {
    return CLI::Validator(
        [](std::string& text) -> std::string {
            const auto value = SimdjsonSerialization().JSONObjectWithData(text);
            if (!value) {
                return "not valid JSON: " + value.error().localizedDescription();
            }
            return value.value().asDictionary() == nullptr ? "not a JSON object" : "";
        },
        "JSON");
}

Dictionary parseJsonObject(const std::string& text) {
    const auto value = SimdjsonSerialization().JSONObjectWithData(text);
    // The option's check has seen to it that there is one.
    return *value.value().asDictionary();
}

namespace {

constexpr double kMostMilliseconds = 1e15;

std::optional<double> millisecondsOfUnit(std::string_view unit) {
    if (unit == "ms") {
        return 1.0;
    }
    if (unit.empty() || unit == "s") {
        return 1'000.0;
    }
    if (unit == "m") {
        return 60'000.0;
    }
    if (unit == "h") {
        return 3'600'000.0;
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::chrono::milliseconds> parseDuration(std::string_view text) {
    double number = 0.0;
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
    if (error != std::errc()) {
        return std::nullopt;
    }
    const auto unit = millisecondsOfUnit(std::string_view(last, static_cast<std::size_t>(end - last)));
    if (!unit || !std::isfinite(number) || std::abs(number * *unit) > kMostMilliseconds) {
        return std::nullopt;
    }
    return std::chrono::milliseconds(std::llround(number * *unit));
}

CLI::Option* addDurationOption(CLI::App& command, const std::string& name,
                               std::optional<std::chrono::milliseconds>& target,
                               const std::string& description) {
    return command
        .add_option_function<std::string>(
            name, [&target](const std::string& text) { target = parseDuration(text); }, description)
        ->check(CLI::Validator(
            [](std::string& text) -> std::string {
                return parseDuration(text) ? "" : "not a duration such as 90s or 1500ms: " + text;
            },
            "DURATION"));
}

}  // namespace xel::tools
