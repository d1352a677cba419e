#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace xel::sandbox {

/// A JSON value whose objects keep the order of their keys.
using Json = nlohmann::ordered_json;

/// The JSON object that `text` holds. Nothing when the text is not JSON (RFC 8259, strict UTF-8), is not an
/// object, or nests deeper than 64 levels: whoever prints or destroys a value recurses into it.
std::optional<Json> parseJsonObject(std::string_view text);

/// The text that a member of an object holds; nothing when there is no such member, or it is no text.
std::optional<std::string> findText(const Json& object, const char* key);

/// The value printed on one line.
std::string printJson(const Json& value);

}  // namespace xel::sandbox
