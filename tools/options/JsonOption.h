#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "XelPushClient/Foundation/Value.h"

namespace xel::tools {

/// Refuses a text that is not a JSON object, with the reason.
[[nodiscard]] CLI::Validator jsonObject();

/// The object of a text that `jsonObject` has let pass.
[[nodiscard]] Dictionary parseJsonObject(const std::string& text);

}  // namespace xel::tools
