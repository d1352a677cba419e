#pragma once

#include <string>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

enum class JSONLayout {
    OneLine,  ///< no white space outside texts
    Pretty    ///< one member per line, indented by two blanks, `"key" : value`
};

/// The value as JSON (RFC 8259), UTF-8, keys in the dictionary's order.
///
/// JSON has no form for some values: a number that is not finite prints as null, a date as its
/// milliseconds since 1970, octets as hexadecimal text. Octets of a text that are not UTF-8 print as
/// U+FFFD, so that the result is always a valid document. Use `isPrintableAsJSON` first where such a value
/// must be refused instead. Numbers from 1e-4 to 1e17 are written without an exponent, with as many digits
/// as it takes to read them back equal.
[[nodiscard]] std::string printJSON(const Value& value, JSONLayout layout);
[[nodiscard]] std::string printJSON(const Dictionary& dictionary, JSONLayout layout);

/// Whether the value survives printing: all numbers finite, all texts and keys UTF-8, no dates and no
/// octets, and at most `kDeepestJSON` levels of nesting.
[[nodiscard]] bool isPrintableAsJSON(const Value& value);
[[nodiscard]] bool isPrintableAsJSON(const Dictionary& dictionary);

/// The deepest nesting that the client reads or writes.
inline constexpr int kDeepestJSON = 64;

}  // namespace xel
