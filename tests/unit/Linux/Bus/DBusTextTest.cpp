#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sdbus-c++/Types.h>

#include "XelPushClient/Linux/Bus/DBusText.h"

namespace xel {
namespace {

struct CleanText {
    std::string plain;
    std::string expected;
};

TEST(DBusText, IsCleanUTF8) {
    const std::vector<CleanText> table = {
        {"", ""},
        {"Gr\u00FC\u00DFe \U0001F408", "Gr\u00FC\u00DFe \U0001F408"},
        {"two\nlines\tand a tab", "two\nlines\tand a tab"},
        {std::string("a\0b\x01\x1B[31m\r\x7F", 10), "ab[31m"},
        {"\u0085next line", "next line"},
        {"\xFFoctet\xC3", "\uFFFDoctet\uFFFD"},
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
        {"\uFFFD", "\uFFFD"},
        {"\uFFFFno\uFDD0 character\U0010FFFE", "\uFFFDno\uFFFD character\uFFFD"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(textForDBus(row.plain, 100), row.expected);
        EXPECT_NO_THROW(sdbus::Variant(textForDBus(row.plain))) << row.expected;
    }
}

TEST(DBusText, IsCutBetweenCharacters) {
    const std::vector<CleanText> table = {
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

}  // namespace
}  // namespace xel
