#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

#include "XelPushClient/Foundation/Value.h"

namespace xel::tools {

/// Refuses a text that is not a JSON object, with the reason.
[[nodiscard]] CLI::Validator jsonObject();

/// The object of a text that `jsonObject` has let pass.
[[nodiscard]] Dictionary parseJsonObject(const std::string& text);

/// A whole or decimal number with an optional unit: ms, s (when there is none), m, h. None for any other
/// text.
[[nodiscard]] std::optional<std::chrono::milliseconds> parseDuration(std::string_view text);

/// An option that takes such a duration.
CLI::Option* addDurationOption(CLI::App& command, const std::string& name,
                               std::optional<std::chrono::milliseconds>& target,
                               const std::string& description);

}  // namespace xel::tools
