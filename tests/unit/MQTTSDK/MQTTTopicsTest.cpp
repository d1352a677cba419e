#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/MQTTTopics.h"

using namespace std::string_view_literals;

namespace xel {
namespace {

struct TopicCase {
    std::string_view text;
    bool isName;
    bool isFilter;
};

constexpr TopicCase kTopics[] = {
    {"", false, false},
    {"a", true, true},
    {"/", true, true},
    {"a//b", true, true},
    {"app/shop/user/0912/private/orders", true, true},
    {"$SYS/broker", true, true},
    {"a b", true, true},
    {"+", false, true},
    {"#", false, true},
    {"a/+/b", false, true},
    {"+/+", false, true},
    {"a/#", false, true},
    {"a/#/b", false, false},
    {"#/", false, false},
    {"a#", false, false},
    {"a/b#", false, false},
    {"a+", false, false},
    {"+a/b", false, false},
    {"a/b+/c", false, false},
    {"\0"sv, false, false},
    {"1234567\0"sv, false, false},
    {"12345678\0"sv, false, false},
    {"1234567+", false, false},
    {"12345678#", false, false},
    {"caf\xC3\xA9", true, true},
    {"\xE2\x82\xAC/\xF0\x9F\x98\x80", true, true},
    {"12345678\xC3", false, false},
    {"\x80", false, false},
    {"\xC0\x80", false, false},          // NUL written too long
    {"\xC1\xBF", false, false},          // not the shortest form
    {"\xED\xA0\x80", false, false},      // a surrogate
    {"\xF4\x90\x80\x80", false, false},  // above U+10FFFF
    {"\xFF", false, false},
};

TEST(MQTTTopics, AreNamesOrFiltersAsTheStandardSays) {
    for (const TopicCase& topic : kTopics) {
        EXPECT_EQ(isValidTopicName(topic.text), topic.isName) << topic.text;
        EXPECT_EQ(isValidTopicFilter(topic.text), topic.isFilter) << topic.text;
    }
}

TEST(MQTTTopics, FindEachForbiddenCharacterAtEachPlace) {
    const std::string plain(21, 'x');
    for (std::size_t place = 0; place < plain.size(); ++place) {
        for (const char forbidden : {'\0', '+', '#', '\xFF'}) {
            std::string topic = plain;
            topic[place] = forbidden;
            EXPECT_FALSE(isValidTopicName(topic)) << place << " " << static_cast<int>(forbidden);
        }
    }
    EXPECT_TRUE(isValidTopicName(plain));
}

TEST(MQTTTopics, TakeEveryOtherOctetOfAscii) {
    for (int octet = 1; octet < 0x80; ++octet) {
        if (octet == '+' || octet == '#') {
            continue;
        }
        EXPECT_TRUE(isValidTopicName(std::string(9, static_cast<char>(octet)))) << octet;
    }
}

TEST(MQTTTopics, AreAtMost65535OctetsLong) {
    EXPECT_TRUE(isValidTopicName(std::string(65'535, 't')));
    EXPECT_FALSE(isValidTopicName(std::string(65'536, 't')));
    EXPECT_TRUE(isValidTopicFilter(std::string(65'535, 't')));
    EXPECT_FALSE(isValidTopicFilter(std::string(65'536, 't')));
    EXPECT_TRUE(isValidMQTTString(std::string(65'535, 't')));
    EXPECT_FALSE(isValidMQTTString(std::string(65'536, 't')));
}

TEST(MQTTTopics, TextsMayBeEmptyAndHoldWildcardsButNoNul) {
    EXPECT_TRUE(isValidMQTTString(""));
    EXPECT_TRUE(isValidMQTTString("a+b#c"));
    EXPECT_FALSE(isValidMQTTString("a\0b"sv));
    EXPECT_FALSE(isValidMQTTString("a\xFF"));
}

}  // namespace
}  // namespace xel
