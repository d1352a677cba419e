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

TEST(CurlHeaders, KeepTheFieldsOfTheLastAnswer) {
    CurlHeaderBlock block;
    for (const char* line : {"HTTP/1.1 103 Early Hints\r\n", "Link: </a>\r\n", "\r\n", "HTTP/1.1 200 OK\r\n",
                             "A: 1\r\n", "no field\r\n", "a: 2\r\n", "\r\n"}) {
        EXPECT_TRUE(block.take(line)) << line;
    }
    EXPECT_EQ(block.takeFields(), (HTTPHeaders{{"A", "1"}, {"a", "2"}}));
}

TEST(CurlHeaders, RefuseAHeaderWithoutEnd) {
    CurlHeaderBlock block;
    const std::string line(CurlHeaderBlock::kLargest / 2, 'x');
    EXPECT_TRUE(block.take(line));
    EXPECT_TRUE(block.take(line));
    EXPECT_FALSE(block.take("\n"));
}

}  // namespace
}  // namespace xel
