#include "XelPushClient/Linux/NotificationMarkup.h"

#include <algorithm>
#include <array>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";
constexpr std::array<std::string_view, 5> kElements{"b", "i", "u", "a", "img"};

bool isUnwantedControl(char32_t character) {
    const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
    return isControl && character != U'\n' && character != U'\t';
}

/// How long the tag at the text's front is; 0 when there is none of the markup's.
std::size_t tagLength(std::string_view text) {
    const auto end = text.find('>');
    if (end == std::string_view::npos) {
        return 0;
    }
    std::string_view inside = text.substr(1, end - 1);
    if (inside.starts_with('/')) {
        inside.remove_prefix(1);
    }
    const std::string_view name = inside.substr(0, inside.find_first_of(" \t\n/"));
    const bool isMarkup = std::find(kElements.begin(), kElements.end(), name) != kElements.end();
    return isMarkup ? end + 1 : 0;
}

}  // namespace

std::string textForDBus(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
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

std::string withoutMarkup(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    while (!text.empty()) {
        const auto tag = text.front() == '<' ? tagLength(text) : 0;
        if (tag == 0) {
            plain += text.front();
        }
        text.remove_prefix(std::max<std::size_t>(tag, 1));
    }
    return plain;
}

}  // namespace xel
