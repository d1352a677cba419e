#include <gtest/gtest.h>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr const char* kNoBreakSpace = "\xC2\xA0";
constexpr const char* kLineSeparator = "\xE2\x80\xA8";
constexpr const char* kZeroWidthSpace = "\xE2\x80\x8B";

TEST(IsEmptyOrBlank, HoldsForWhiteSpaceAndLineEndsOnly) {
    struct Case {
        std::string text;
        bool isBlank;
    };
    const Case cases[] = {
        {"", true},
        {" ", true},
        {"  \t", true},
        {"\n", true},
        {" \r\n\v\f ", true},
        {"\xC2\x85", true},
        {kNoBreakSpace, true},
        {kLineSeparator, true},
        {"\xE3\x80\x80", true},
        {"a", false},
        {" a ", false},
        {"\n.\n", false},
        {kZeroWidthSpace, false},
        {std::string(1, '\0'), false},
        {"\xFF", false},
        {"\xC2", false},
        {" \xA0", false},
    };
    for (const auto& [text, isBlank] : cases) {
        EXPECT_EQ(isEmptyOrBlank(std::string_view(text)), isBlank) << "\"" << text << "\"";
    }
}

TEST(IsEmptyOrBlank, AnswersNoForAMissingText) {
    EXPECT_FALSE(isEmptyOrBlank(std::optional<std::string>()));
    EXPECT_TRUE(isEmptyOrBlank(std::optional<std::string>(" ")));
    EXPECT_FALSE(isEmptyOrBlank(std::optional<std::string>("a")));
}

TEST(IsMissingOrBlank, HoldsForAMissingTextToo) {
    EXPECT_TRUE(isMissingOrBlank(std::nullopt));
    EXPECT_TRUE(isMissingOrBlank(std::optional<std::string>("\t")));
    EXPECT_FALSE(isMissingOrBlank(std::optional<std::string>("a")));
}

TEST(Trimming, TakesTheMembersOffOneEnd) {
    const auto& spaces = whitespaceCharacterSet();
    const CharacterSet letters(U"abü");
    struct Case {
        std::string text;
        const CharacterSet& set;
        std::string withoutLeading;
        std::string withoutTrailing;
    };
    const Case cases[] = {
        {"", spaces, "", ""},
        {"   ", spaces, "", ""},
        {"  x y  ", spaces, "x y  ", "  x y"},
        {"\nx\n", spaces, "\nx\n", "\nx\n"},
        {"x", spaces, "x", "x"},
        {"abxab", letters, "xab", "abx"},
        {"\xC3\xBCx\xC3\xBC", letters, "x\xC3\xBC", "\xC3\xBCx"},
        {"ab\xC3\xBC", letters, "", ""},
        {"ab\xFF", letters, "\xFF", "ab\xFF"},
    };
    for (const auto& [text, set, withoutLeading, withoutTrailing] : cases) {
        EXPECT_EQ(stringByTrimmingLeadingCharactersInSet(text, set), withoutLeading) << text;
        EXPECT_EQ(stringByTrimmingTrailingCharactersInSet(text, set), withoutTrailing) << text;
    }
}

TEST(Trimming, TakesLineEndsWithTheWiderSetOnly) {
    const auto& wide = whitespaceAndNewlineCharacterSet();
    EXPECT_EQ(stringByTrimmingLeadingCharactersInSet(" \r\n\xE2\x80\xA9x\n", wide), "x\n");
    EXPECT_EQ(stringByTrimmingTrailingCharactersInSet(" x\r\n\xC2\x85 ", wide), " x");
}

TEST(EncodeUrlString, EscapesEverythingButTheUnreserved) {
    EXPECT_EQ(encodeUrlString("a/b?c&d e"), "a%2Fb%3Fc%26d%20e");
    EXPECT_EQ(encodeUrlString("!*'();:@&=+$,/?%#[]"),
              "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C%2F%3F%25%23%5B%5D");
    EXPECT_EQ(encodeUrlString("AZaz09-._~"), "AZaz09-._~");
    EXPECT_EQ(encodeUrlString("\"<>\\^`{|}"), "%22%3C%3E%5C%5E%60%7B%7C%7D");
    EXPECT_EQ(encodeUrlString("\xC3\xBC\xE2\x82\xAC"), "%C3%BC%E2%82%AC");
    EXPECT_EQ(encodeUrlString(std::string("\0\x7F", 2)), "%00%7F");
    EXPECT_EQ(encodeUrlString(""), "");
}

TEST(SplitString, KeepsEmptyPieces) {
    using Pieces = std::vector<std::string_view>;
    EXPECT_EQ(splitString("a/b", "/"), (Pieces{"a", "b"}));
    EXPECT_EQ(splitString("", "/"), (Pieces{""}));
    EXPECT_EQ(splitString("a", "/"), (Pieces{"a"}));
    EXPECT_EQ(splitString("/a//", "/"), (Pieces{"", "a", "", ""}));
    EXPECT_EQ(splitString("u-:-d-:-1", "-:-"), (Pieces{"u", "d", "1"}));
    EXPECT_EQ(splitString("-:-:-", "-:-"), (Pieces{"", ":-"}));
}

TEST(Utf16Length, CountsUnitsOfTheOtherPlatforms) {
    EXPECT_EQ(utf16Length(""), 0U);
    EXPECT_EQ(utf16Length("abc"), 3U);
    EXPECT_EQ(utf16Length("\xC3\xBC\xE2\x82\xAC"), 2U);
    EXPECT_EQ(utf16Length("\xF0\x9F\x90\xA7"), 2U);
    EXPECT_EQ(utf16Length("\xF0\x9F\x90"), 3U);
    EXPECT_EQ(utf16Length("\xFF\xFF"), 2U);
}

TEST(IsValidUTF8, KeepsToTheShortestFormsOfRealCharacters) {
    struct Case {
        std::string octets;
        bool isValid;
    };
    const Case cases[] = {
        {"", true},
        {"plain", true},
        {"\xC2\x80", true},
        {"\xDF\xBF", true},
        {"\xE0\xA0\x80", true},
        {"\xED\x9F\xBF", true},
        {"\xEE\x80\x80", true},
        {"\xEF\xBF\xBF", true},
        {"\xF0\x90\x80\x80", true},
        {"\xF4\x8F\xBF\xBF", true},
        {std::string(1, '\0'), true},
        {"\x80", false},
        {"\xC0\x80", false},
        {"\xC1\xBF", false},
        {"\xC3", false},
        {"\xC3(", false},
        {"\xE0\x9F\xBF", false},
        {"\xE2\x82", false},
        {"\xE2(\x82", false},
        {"\xED\xA0\x80", false},
        {"\xED\xBF\xBF", false},
        {"\xF0\x8F\xBF\xBF", false},
        {"\xF4\x90\x80\x80", false},
        {"\xF5\x80\x80\x80", false},
        {"\xF8\x88\x80\x80\x80", false},
        {"\xFE", false},
        {"\xFF", false},
    };
    for (const auto& [octets, isValid] : cases) {
        EXPECT_EQ(isValidUTF8(octets), isValid) << testing::PrintToString(octets);
        // Eight octets of ASCII are passed at once.
        for (std::size_t before = 1; before <= 17; ++before) {
            const std::string text = std::string(before, 'a') + octets + std::string(9, 'b');
            EXPECT_EQ(isValidUTF8(text), isValid) << before << testing::PrintToString(octets);
        }
    }
}

TEST(TakeFirstCharacter, TakesOneCharacterOrOneBrokenOctet) {
    std::string_view text = "\xF0\x9F\x90\xA7\xC3(";
    EXPECT_EQ(takeFirstCharacter(text), U'\U0001F427');
    EXPECT_EQ(takeFirstCharacter(text), U'\uFFFD');
    EXPECT_EQ(takeFirstCharacter(text), U'(');
    EXPECT_TRUE(text.empty());
}

TEST(TextOrNull, ShowsAMissingText) {
    EXPECT_EQ(textOrNull(std::nullopt), "(null)");
    const std::optional<std::string> text = "text";
    EXPECT_EQ(textOrNull(text), "text");
}

TEST(Hexadecimal, WritesTwoLowerCaseDigitsAnOctet) {
    EXPECT_EQ(hexadecimal({}), "");
    EXPECT_EQ(hexadecimal({0x00, 0x0F, 0xAB, 0xFF}), "000fabff");
}

TEST(StringUtilities, LowersOnlyASCIILetters) {
    EXPECT_EQ(lowerCase("Content-TYPE \xC3\x84Z"), "content-type \xC3\x84z");
}

}  // namespace
}  // namespace xel
