#include "sandbox/relay/Json.h"

#include <cstddef>
#include <utility>

namespace xel::sandbox {
namespace {

constexpr std::size_t kMaximumDepth = 64;

// Counts brackets outside of strings. Runs before the parser, so that no deep value is ever built.
bool nestsTooDeeply(std::string_view text) {
    std::size_t depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : text) {
        if (inString) {
            if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            if (++depth > kMaximumDepth) {
                return true;
            }
        } else if ((c == '}' || c == ']') && depth > 0) {
            --depth;
        }
    }
    return false;
}

}  // namespace

std::optional<Json> parseJsonObject(std::string_view text) {
    // The parser takes a zero byte for the end, and whatever stands behind it would go unseen.
    if (text.find('\0') != std::string_view::npos || nestsTooDeeply(text)) {
        return std::nullopt;
    }
    Json value = Json::parse(text.begin(), text.end(), nullptr, /*allow_exceptions=*/false);
    if (!value.is_object()) {
        return std::nullopt;
    }
    return std::optional<Json>(std::move(value));
}

std::optional<std::string> findText(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? std::optional(found->get<std::string>())
                                                       : std::nullopt;
}

std::string printJson(const Json& value) {
    // An error may repeat what stood in a request's path. Where that is no UTF-8, printing would throw.
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace xel::sandbox
