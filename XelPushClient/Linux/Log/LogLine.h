#pragma once

#include <string>
#include <string_view>

namespace xel {

/// The text with its control characters written as `\xNN`, but for line feeds and tabs: what a message holds
/// must not steer a terminal.
[[nodiscard]] std::string printableLogText(std::string_view text);

/// The text on one line: line feeds and the blanks around them become one blank, every other control
/// character is written as `\xNN`. For places where a line is a record, which a message must not forge.
[[nodiscard]] std::string printableLogLine(std::string_view text);

}  // namespace xel
