#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Log/LogLine.h"

namespace xel {
namespace {

TEST(LogText, KeepsTextTabsAndLineFeeds) {
    EXPECT_EQ(printableLogText("\na\tgr\xC3\xBC\xC3\x9F ~\n"), "\na\tgr\xC3\xBC\xC3\x9F ~\n");
}

TEST(LogText, WritesOtherControlCharactersInHexadecimal) {
    EXPECT_EQ(printableLogText("b\r\x1B[31m\x7F"), "b\\x0d\\x1b[31m\\x7f");
    EXPECT_EQ(printableLogText(std::string_view("\0", 1)), "\\x00");
}

TEST(LogLine, PutsEverythingOnOneLine) {
    EXPECT_EQ(printableLogLine("\nLOG : ---\n\n a  b \n\n---\n"), "LOG : --- a  b ---");
    EXPECT_EQ(printableLogLine("a\tb"), "a\tb");
    EXPECT_EQ(printableLogLine(" \n "), "");
}

TEST(LogLine, WritesControlCharactersInHexadecimal) {
    EXPECT_EQ(printableLogLine("a\rb\x1B[31m"), "a\\x0db\\x1b[31m");
}

}  // namespace
}  // namespace xel
