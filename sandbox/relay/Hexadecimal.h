#pragma once

#include <optional>

namespace xel::sandbox {

/// The number that a hexadecimal digit of either case stands for.
constexpr std::optional<unsigned> numberOfHexDigit(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<unsigned>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<unsigned>(digit - 'a') + 10U;
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<unsigned>(digit - 'A') + 10U;
    }
    return std::nullopt;
}

/// The byte that two hexadecimal digits spell; nothing when one of them is none.
constexpr std::optional<char> byteOfHexDigits(char first, char second) {
    const std::optional<unsigned> high = numberOfHexDigit(first);
    const std::optional<unsigned> low = numberOfHexDigit(second);
    return high && low ? std::optional(static_cast<char>(*high * 16U + *low)) : std::nullopt;
}

}  // namespace xel::sandbox
