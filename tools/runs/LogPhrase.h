#pragma once

#include <optional>
#include <string_view>

namespace xel::tools {

/// What stands behind the phrase in a line of the client's log, up to the end of the line and without spaces
/// there; none when the phrase is not in it. The client tells some things in its log only.
[[nodiscard]] std::optional<std::string_view> textBehind(std::string_view line, std::string_view phrase);

}  // namespace xel::tools
