#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"

namespace xel::tools {

/// One line on standard output: the record as a JSON object, or the text for people. From any thread.
void printLine(bool json, const Dictionary& record, std::string_view text);

/// One line of progress on standard error. From any thread.
void printProgress(std::string_view text);

/// The text under the key; empty when there is none.
[[nodiscard]] std::string textOf(const Dictionary& record, std::string_view key);

}  // namespace xel::tools
