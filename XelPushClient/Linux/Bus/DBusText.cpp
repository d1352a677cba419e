#include "XelPushClient/Linux/Bus/DBusText.h"

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\u2026";

bool isUnwantedControl(char32_t character) {
    const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
    return isControl && character != U'\n' && character != U'\t';
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

}  // namespace xel
