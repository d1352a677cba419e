#pragma once

#include <string_view>

namespace xel {

/// Whether a version comes before another, runs of digits compared as numbers ("9.3" is lower than "10.0"). A
/// version that is the beginning of the other is the lower one.
[[nodiscard]] bool isVersionLower(std::string_view version, std::string_view other);

}  // namespace xel
