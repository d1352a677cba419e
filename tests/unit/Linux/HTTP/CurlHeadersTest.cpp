#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/HTTP/CurlHeaders.h"

namespace xel {
namespace {

TEST(CurlHeaders, KnowTokens) {
    for (const char* token : {"GET", "Content-Lenght", "x!#$%&'*+-.^_`|~9"}) {
        EXPECT_TRUE(isHeaderToken(token)) << token;
    }
    for (const char* other : {"", "a b", "a:", "a\r\n", "(a)", "gr\xC3\xBC\xC3\x9F"}) {
        EXPECT_FALSE(isHeaderToken(other)) << other;
    }
    EXPECT_FALSE(isHeaderToken(std::string_view("a\0", 2)));
}

TEST(CurlHeaders, RefuseControlCharactersInValues) {
    for (const char* value : {"", "a b", "a\tb", "gr\xC3\xBC\xC3\x9F"}) {
        EXPECT_TRUE(isHeaderValue(value)) << value;
    }
    for (const char* value : {"a\r\nInjected: 1", "a\n", "\x7F", "\x1B[0m"}) {
        EXPECT_FALSE(isHeaderValue(value)) << value;
    }
    EXPECT_FALSE(isHeaderValue(std::string_view("a\0b", 3)));
}

using Field = std::pair<std::string, std::string>;

TEST(CurlHeaders, ParseFieldLines) {
    EXPECT_EQ(parseHeaderLine("Content-Type: application/json\r\n"),
              (Field{"Content-Type", "application/json"}));
    EXPECT_EQ(parseHeaderLine("A:b:c\r\n"), (Field{"A", "b:c"}));
    EXPECT_EQ(parseHeaderLine("A:  \t \r\n"), (Field{"A", ""}));
    for (const char* line : {"\r\n", "", "no colon\r\n", ": value\r\n", "a b: c\r\n"}) {
        EXPECT_EQ(parseHeaderLine(line), std::nullopt) << line;
    }
}

}  // namespace
}  // namespace xel
