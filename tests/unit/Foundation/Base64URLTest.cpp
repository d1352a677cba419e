#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Base64URL.h"

namespace xel {
namespace {

using namespace std::string_literals;

Data dataOf(std::string_view text) {
    return {text.begin(), text.end()};
}

TEST(Base64URL, WritesAndReadsEveryLength) {
    // RFC 4648 section 10, without the padding; the last two hold the characters that set this alphabet
    // apart.
    const std::vector<std::pair<std::string, std::string>> table = {
        {"", ""},           {"f", "Zg"},          {"fo", "Zm8"},          {"foo", "Zm9v"},
        {"foob", "Zm9vYg"}, {"fooba", "Zm9vYmE"}, {"foobar", "Zm9vYmFy"}, {"\xFB\xFF\xBE", "-_--"},
        {"\0\0"s, "AAA"},
    };
    for (const auto& [octets, text] : table) {
        EXPECT_EQ(base64URLOf(dataOf(octets)), text);
        EXPECT_EQ(octetsOfBase64URL(text), dataOf(octets)) << text;
    }
}

TEST(Base64URL, ReadsBackWhatItWrites) {
    Data octets;
    for (unsigned length = 0; length < 300; ++length) {
        EXPECT_EQ(octetsOfBase64URL(base64URLOf(octets)), octets) << length;
        octets.push_back(static_cast<std::uint8_t>((length * 167U + 13U) & 0xFFU));
    }
}

TEST(Base64URL, RefusesEverythingElse) {
    const std::vector<std::pair<std::string, std::string>> table = {
        {"Z", "no octets are one character long"},
        {"Zm9vY", "nor five"},
        {"Zg==", "padding"},
        {"Zm8=", "padding"},
        {"Zm9+", "the other alphabet"},
        {"Zm9/", "the other alphabet"},
        {"Zm 9v", "a blank"},
        {"Zm9v\n", "a line end"},
        {"Zm9\xC3", "no ASCII"},
        {"Zm9\0"s, "NUL"},
        {"Zh", "a bit behind the octet"},
        {"Zm9", "a bit behind the second octet"},
    };
    for (const auto& [text, why] : table) {
        EXPECT_FALSE(octetsOfBase64URL(text).has_value()) << why;
    }
}

}  // namespace
}  // namespace xel
