#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace xel {

// Text is UTF-8 throughout; where a rule speaks of a text's length it counts UTF-16 code units, as the
// service and the other platforms' clients do. Octets that are not UTF-8 count as one unit each and match
// no rule.

/// Whether the text holds nothing but white space and line ends.
[[nodiscard]] bool isEmptyOrBlank(std::string_view text);
[[nodiscard]] bool isEmptyOrBlank(const std::optional<std::string>& text);

/// Whether the text is missing or blank: what nearly every check for a usable value asks.
[[nodiscard]] bool isMissingOrBlank(const std::optional<std::string>& text);

/// A set of characters, each one UTF-16 unit, written as UTF-8 text.
class CharacterSet {
public:
    explicit CharacterSet(std::u32string_view members) : members_(members) {}
    [[nodiscard]] bool contains(char32_t character) const {
        return members_.find(character) != std::u32string::npos;
    }

private:
    std::u32string members_;
};

/// Space, tab and the Unicode space separators.
[[nodiscard]] const CharacterSet& whitespaceCharacterSet();
/// The set above and the line ends: LF, VT, FF, CR, NEL, U+2028 and U+2029.
[[nodiscard]] const CharacterSet& whitespaceAndNewlineCharacterSet();

[[nodiscard]] std::string stringByTrimmingLeadingCharactersInSet(std::string_view text,
                                                                 const CharacterSet& set);
[[nodiscard]] std::string stringByTrimmingTrailingCharactersInSet(std::string_view text,
                                                                  const CharacterSet& set);

/// The text with its ASCII letters in lower case.
[[nodiscard]] std::string lowerCase(std::string_view text);

/// Percent-encodes (RFC 3986) every octet but the unreserved ones: letters, digits, "-", ".", "_" and "~".
[[nodiscard]] std::string encodeUrlString(std::string_view text);

/// Hexadecimal digits in both cases: percent-encoders differ in which they write.
inline constexpr std::string_view kLowerCaseHexadecimalDigits = "0123456789abcdef";
inline constexpr std::string_view kUpperCaseHexadecimalDigits = "0123456789ABCDEF";

/// Percent-encodes every octet that is not among the plain ones, with the digits given.
[[nodiscard]] std::string percentEncoded(std::string_view text, std::string_view plain,
                                         std::string_view digits);

/// Appends an octet as two lower-case hexadecimal digits.
void appendHexadecimal(std::string& text, unsigned char octet);

/// The pieces between the separators; a text without one is one piece, an empty text one empty piece.
[[nodiscard]] std::vector<std::string_view> splitString(std::string_view text, std::string_view separator);

/// How many UTF-16 units the text takes.
[[nodiscard]] std::size_t utf16Length(std::string_view text);

/// Well-formed UTF-8 (RFC 3629): shortest forms only, no surrogates, nothing above U+10FFFF.
[[nodiscard]] bool isValidUTF8(std::string_view octets);

/// One of the 66 that Unicode sets aside for good: a block, and the last two of each plane. They are valid in
/// UTF-8, and many who take texts refuse them.
[[nodiscard]] constexpr bool isNonCharacter(char32_t character) {
    return (character >= 0xFDD0 && character <= 0xFDEF) || (character & 0xFFFEU) == 0xFFFE;
}

/// Removes the first character from the text and returns it. An octet that begins no well-formed character
/// comes back as U+FFFD, and only that octet is removed. The text must not be empty.
[[nodiscard]] char32_t takeFirstCharacter(std::string_view& text);

/// "(null)" for a missing text: how one reads inside a formatted text.
[[nodiscard]] std::string_view textOrNull(const std::optional<std::string>& text);

/// Lower-case hexadecimal, two digits an octet.
[[nodiscard]] std::string hexadecimal(const std::vector<unsigned char>& octets);

}  // namespace xel
