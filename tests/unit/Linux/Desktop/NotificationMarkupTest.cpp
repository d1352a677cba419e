#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Desktop/NotificationMarkup.h"

namespace xel {
namespace {

struct MarkupText {
    std::string plain;
    std::string expected;
};

TEST(NotificationMarkup, EscapedTextIsShownAsItIs) {
    const std::vector<MarkupText> table = {
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
    const std::vector<MarkupText> table = {
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
