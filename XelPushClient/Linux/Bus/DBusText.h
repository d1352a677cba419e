#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace xel {

/// The text as a D-Bus string may hold it: UTF-8, without NUL and without control characters but line end and
/// tab. What is not UTF-8 reads as U+FFFD. Of a text with more characters than that, which no desktop shows,
/// the rest is an ellipsis.
[[nodiscard]] std::string textForDBus(std::string_view text,
                                      std::size_t mostCharacters = std::string_view::npos);

}  // namespace xel
