#pragma once

#include <cstddef>
#include <string_view>

namespace xel {

/// A number that was read from the front of a text.
struct LeadingDecimal {
    double number = 0;       ///< infinite when the text says more than a double holds, 0 when it says less
    std::size_t length = 0;  ///< how much of the text it took; 0 when none stands there
};

/// Reads decimal digits with at most one point among them, a minus sign before and an exponent behind
/// ("-1.5e3"), to the nearest double. The host's locale changes nothing. What `std::from_chars` would do,
/// which some standard libraries have for whole numbers only.
[[nodiscard]] LeadingDecimal readLeadingDecimal(std::string_view text);

}  // namespace xel
