#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

// Reading a dictionary that came from outside: a missing key and a value of the wrong kind both read as
// absent.

/// A copy of whatever is there; null if nothing is.
[[nodiscard]] Value valueUnder(const Dictionary& dictionary, std::string_view key);
[[nodiscard]] std::optional<std::string> textUnder(const Dictionary& dictionary, std::string_view key);
/// A number of any kind, as `Value::number` reads it.
[[nodiscard]] std::optional<double> numberUnder(const Dictionary& dictionary, std::string_view key);
/// A number without its fraction, as `Value::integer` reads it.
[[nodiscard]] std::optional<std::int64_t> integerUnder(const Dictionary& dictionary, std::string_view key);
/// An identifier, which may be a text or a number, as a text.
[[nodiscard]] std::optional<std::string> identifierUnder(const Dictionary& dictionary, std::string_view key);
[[nodiscard]] std::optional<Array> arrayUnder(const Dictionary& dictionary, std::string_view key);
[[nodiscard]] std::optional<Dictionary> dictionaryUnder(const Dictionary& dictionary, std::string_view key);

}  // namespace xel
