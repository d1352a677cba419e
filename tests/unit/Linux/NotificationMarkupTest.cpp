#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/NotificationMarkup.h"

namespace xel {
namespace {

struct Row {
    std::string plain;
    std::string expected;
};

TEST(NotificationMarkup, ATextForDBusIsCleanUTF8) {
    const std::vector<Row> table = {
        {"", ""},
        {"Gr\u00FC\u00DFe \U0001F408", "Gr\u00FC\u00DFe \U0001F408"},
        {"two\nlines\tand a tab", "two\nlines\tand a tab"},
        {std::string("a\0b\x01\x1B[31m\r\x7F", 10), "ab[31m"},
        {"\u0085next line", "next line"},
        {"\xFFoctet\xC3", "\uFFFDoctet\uFFFD"},
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
        {"\uFFFD", "\uFFFD"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(textForDBus(row.plain, 100), row.expected);
    }
}

TEST(NotificationMarkup, ATextForDBusIsCutBetweenCharacters) {
    const std::vector<Row> table = {
        {"12345", "12345"},
        {"123456", "12345\u2026"},
        {"\U0001F408\U0001F408\U0001F408\U0001F408\U0001F408",
         "\U0001F408\U0001F408\U0001F408\U0001F408\U0001F408"},
        {"\U0001F408\U0001F408\U0001F408\U0001F408\U0001F408\U0001F408",
         "\U0001F408\U0001F408\U0001F408\U0001F408\U0001F408\u2026"},
        {"\xFF\xFF\xFF\xFF\xFF\xFF", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\u2026"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(textForDBus(row.plain, 5), row.expected);
    }
}

TEST(NotificationMarkup, EscapedTextIsShownAsItIs) {
    const std::vector<Row> table = {
        {"", ""},
        {"5 < 6 & 7 > 6", "5 &lt; 6 &amp; 7 &gt; 6"},
        {"<b>bold</b>", "&lt;b&gt;bold&lt;/b&gt;"},
        {"<img src='x' alt=\"y\"/>", "&lt;img src=&#39;x&#39; alt=&quot;y&quot;/&gt;"},
        {"&amp;", "&amp;amp;"},
        {"Gr\u00FC\u00DFe", "Gr\u00FC\u00DFe"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(escapedForMarkup(row.plain), row.expected);
    }
}

TEST(NotificationMarkup, TagsOfTheMarkupAreStrippedAndNothingElse) {
    const std::vector<Row> table = {
        {"", ""},
        {"<b>bold</b> <i>slanted</i> <u>lined</u>", "bold slanted lined"},
        {"see <a href=\"https://x.test/?a=1&b=2\">here</a>", "see here"},
        {"a cat <img src=\"/cat.png\" alt=\"cat\"/>.", "a cat ."},
        {"<b\n>broken line</b >", "broken line"},
        {"5 < 6 > 4", "5 < 6 > 4"},
        {"<script>x</script> <br> <body>", "<script>x</script> <br> <body>"},
        {"<b unfinished", "<b unfinished"},
        {"<", "<"},
        {"<>", "<>"},
        {"<<b>b</b>", "<b"},
        {"<b><b>twice</b></b>", "twice"},
        {"<x <b>bold</b> y>", "<x bold y>"},
        {"> <b>after</b> an end", "> after an end"},
        {"<b", "<b"},
        {"<b>", ""},
        {"&amp;", "&amp;"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(withoutMarkup(row.plain), row.expected) << row.plain;
    }
}

std::string repeated(std::string_view piece, std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += piece;
    }
    return text;
}

// Read once for each "<", texts like these would keep the desktop's thread, and this test, busy for many
// minutes: far beyond the time that a test has.
TEST(NotificationMarkup, AHostileTextIsReadToItsEnd) {
    constexpr std::size_t kSize = 4'000'000;
    for (const auto& text :
         {std::string(kSize, '<'), repeated("<b ", kSize) + '>', repeated("</", kSize) + '>'}) {
        EXPECT_LE(withoutMarkup(text).size(), text.size());
    }
}

}  // namespace
}  // namespace xel
