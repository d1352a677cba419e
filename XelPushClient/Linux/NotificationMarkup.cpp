#include "XelPushClient/Linux/NotificationMarkup.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\u2026";
constexpr std::array<std::string_view, 5> kElements{"b", "i", "u", "a", "img"};
constexpr std::size_t kLongestElement = 3;

bool isUnwantedControl(char32_t character) {
    const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
    return isControl && character != U'\n' && character != U'\t';
}

/// Whether what stands between "<" and ">" is a tag of the markup's.
bool isTag(std::string_view inside) {
    if (inside.starts_with('/')) {
        inside.remove_prefix(1);
    }
    const std::string_view name = inside.substr(0, kLongestElement + 1);
    return std::find(kElements.begin(), kElements.end(), name.substr(0, name.find_first_of(" \t\n/"))) !=
           kElements.end();
}

}  // namespace

std::string textForDBus(std::string_view text, std::size_t mostCharacters) {
    std::string clean;
    for (std::size_t count = 0; !text.empty(); ++count) {
        if (count == mostCharacters) {
            return clean += kEllipsis;
        }
        std::string_view rest = text;
        const char32_t character = takeFirstCharacter(rest);
        const std::string_view octets = text.substr(0, text.size() - rest.size());
        if (!isValidUTF8(octets)) {
            clean += kReplacementCharacter;
        } else if (!isUnwantedControl(character)) {
            clean += octets;
        }
        text = rest;
    }
    return clean;
}

std::string escapedForMarkup(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char character : text) {
        switch (character) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            case '\'': escaped += "&#39;"; break;
            default: escaped += character;
        }
    }
    return escaped;
}

// Each octet is looked at a fixed number of times, whatever the text: where the next ">" is stays known until
// it is passed, and an element's name is short.
std::string withoutMarkup(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    std::size_t end = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '<') {
            end = end <= at ? text.find('>', at) : end;
            if (end != std::string_view::npos && isTag(text.substr(at + 1, end - at - 1))) {
                at = end;
                continue;
            }
        }
        plain += text[at];
    }
    return plain;
}

}  // namespace xel
