#include "XelPushClient/Foundation/StringUtilities.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace xel {
namespace {

constexpr char32_t kReplacementCharacter = 0xFFFD;

struct Decoded {
    char32_t character;
    std::size_t octets;  // 0 when the front of the text is not a well-formed character
};

bool isContinuation(char octet) {
    return (static_cast<unsigned char>(octet) & 0xC0U) == 0x80U;
}

char32_t payloadBits(char octet) {
    return static_cast<unsigned char>(octet) & 0x3FU;
}

Decoded decodeMultiOctet(std::string_view text, std::size_t length, char32_t firstBits, char32_t smallest) {
    if (text.size() < length) {
        return {kReplacementCharacter, 0};
    }
    char32_t character = firstBits;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(text[i])) {
            return {kReplacementCharacter, 0};
        }
        character = (character << 6U) | payloadBits(text[i]);
    }
    const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
    // RFC 3629 section 3: one form for each character, the shortest, and no halves of pairs.
    if (character < smallest || character > 0x10FFFF || isSurrogate) {
        return {kReplacementCharacter, 0};
    }
    return {character, length};
}

Decoded decodeFront(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80U) {
        return {first, 1};
    }
    if ((first & 0xE0U) == 0xC0U) {
        return decodeMultiOctet(text, 2, first & 0x1FU, 0x80);
    }
    if ((first & 0xF0U) == 0xE0U) {
        return decodeMultiOctet(text, 3, first & 0x0FU, 0x800);
    }
    if ((first & 0xF8U) == 0xF0U) {
        return decodeMultiOctet(text, 4, first & 0x07U, 0x10000);
    }
    return {kReplacementCharacter, 0};
}

/// How many octets of ASCII the text begins with; eight at a time, since most texts are nothing else.
std::size_t asciiLength(std::string_view text) {
    constexpr std::uint64_t kHighBits = 0x8080808080808080U;
    std::size_t length = 0;
    for (std::uint64_t word = 0; text.size() - length >= sizeof word; length += sizeof word) {
        std::memcpy(&word, text.data() + length, sizeof word);
        if ((word & kHighBits) != 0) {
            break;
        }
    }
    while (length < text.size() && static_cast<unsigned char>(text[length]) < 0x80U) {
        ++length;
    }
    return length;
}

bool consistsOf(std::string_view text, const CharacterSet& set) {
    while (!text.empty()) {
        if (!set.contains(takeFirstCharacter(text))) {
            return false;
        }
    }
    return true;
}

constexpr std::u32string_view kSpaces =
    U"\u0020\u0009\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A\u202F\u205F"
    U"\u3000";
constexpr std::u32string_view kLineEnds = U"\u000A\u000B\u000C\u000D\u0085\u2028\u2029";

}  // namespace

const CharacterSet& whitespaceCharacterSet() {
    static const CharacterSet set{kSpaces};
    return set;
}

const CharacterSet& whitespaceAndNewlineCharacterSet() {
    static const CharacterSet set{std::u32string(kSpaces) + std::u32string(kLineEnds)};
    return set;
}

bool isEmptyOrBlank(std::string_view text) {
    // The usual text starts with a printable character of ASCII, which is no white space.
    if (!text.empty() && text.front() > ' ' && text.front() <= '~') {
        return false;
    }
    return consistsOf(text, whitespaceAndNewlineCharacterSet());
}

bool isEmptyOrBlank(const std::optional<std::string>& text) {
    return text.has_value() && isEmptyOrBlank(std::string_view(*text));
}

bool isMissingOrBlank(const std::optional<std::string>& text) {
    return !text.has_value() || isEmptyOrBlank(std::string_view(*text));
}

std::string stringByTrimmingLeadingCharactersInSet(std::string_view text, const CharacterSet& set) {
    while (!text.empty()) {
        std::string_view rest = text;
        if (!set.contains(takeFirstCharacter(rest))) {
            break;
        }
        text = rest;
    }
    return std::string(text);
}

std::string stringByTrimmingTrailingCharactersInSet(std::string_view text, const CharacterSet& set) {
    // From the front, because the characters of UTF-8 are read forwards.
    std::string_view rest = text;
    std::size_t keptOctets = 0;
    while (!rest.empty()) {
        if (!set.contains(takeFirstCharacter(rest))) {
            keptOctets = text.size() - rest.size();
        }
    }
    return std::string(text.substr(0, keptOctets));
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return lower;
}

std::string encodeUrlString(std::string_view text) {
    constexpr std::string_view kUnreserved =
        "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-._~";
    return percentEncoded(text, kUnreserved, kUpperCaseHexadecimalDigits);
}

std::string percentEncoded(std::string_view text, std::string_view plain, std::string_view digits) {
    std::string encoded;
    encoded.reserve(text.size());
    for (const char character : text) {
        if (plain.find(character) != std::string_view::npos) {
            encoded += character;
            continue;
        }
        const auto octet = static_cast<unsigned char>(character);
        encoded += '%';
        encoded += digits[octet >> 4U];
        encoded += digits[octet & 0x0FU];
    }
    return encoded;
}

void appendHexadecimal(std::string& text, unsigned char octet) {
    text += kLowerCaseHexadecimalDigits[octet >> 4U];
    text += kLowerCaseHexadecimalDigits[octet & 0x0FU];
}

std::vector<std::string_view> splitString(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const auto at = text.find(separator);
        pieces.push_back(text.substr(0, at));
        if (at == std::string_view::npos) {
            return pieces;
        }
        text.remove_prefix(at + separator.size());
    }
}

std::size_t utf16Length(std::string_view text) {
    std::size_t units = 0;
    while (!text.empty()) {
        units += takeFirstCharacter(text) > 0xFFFF ? 2U : 1U;
    }
    return units;
}

bool isValidUTF8(std::string_view octets) {
    while (true) {
        octets.remove_prefix(asciiLength(octets));
        if (octets.empty()) {
            return true;
        }
        const auto decoded = decodeFront(octets);
        if (decoded.octets == 0) {
            return false;
        }
        octets.remove_prefix(decoded.octets);
    }
}

char32_t takeFirstCharacter(std::string_view& text) {
    const auto decoded = decodeFront(text);
    text.remove_prefix(decoded.octets == 0 ? 1 : decoded.octets);
    return decoded.character;
}

std::string_view textOrNull(const std::optional<std::string>& text) {
    return text ? std::string_view(*text) : std::string_view("(null)");
}

std::string hexadecimal(const std::vector<unsigned char>& octets) {
    std::string text;
    text.reserve(octets.size() * 2);
    for (const unsigned char octet : octets) {
        appendHexadecimal(text, octet);
    }
    return text;
}

}  // namespace xel
