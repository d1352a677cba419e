#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace xel {

/// Whether the text is a token (RFC 9110 section 5.6.2): what a method and a field name are made of.
[[nodiscard]] bool isHeaderToken(std::string_view text);

/// Whether the text may stand behind a field name: no control character but the tab, so that no value can end
/// its line.
[[nodiscard]] bool isHeaderValue(std::string_view text);

/// Name and value of a received field line, without the white space around the value; none for any other
/// line.
[[nodiscard]] std::optional<std::pair<std::string, std::string>> parseHeaderLine(std::string_view line);

}  // namespace xel
