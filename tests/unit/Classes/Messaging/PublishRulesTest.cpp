#include <gtest/gtest.h>

#include "XelPushClient/Classes/Messaging/PublishRules.h"

namespace xel {
namespace {

using MaybeText = std::optional<std::string>;
const MaybeText kMissing = std::nullopt;

constexpr const char* kNoBody = "message.messageBody property should have value";
constexpr const char* kNoText = "text parameter should have value";
constexpr const char* kNoChannel = "channel parameter should have value";
constexpr const char* kNoUser = "userId parameter should have value";

TEST(ChannelToPublishOn, IsTheChannelOrTheDefaultOne) {
    const struct {
        MaybeText channel;
        MaybeText wanted;
    } kCases[] = {
        {"news", "news"},          {"gr\xC3\xBC\xC3\x9F", "gr\xC3\xBC\xC3\x9F"},
        {kMissing, "default"},     {"", "default"},
        {" \t", "default"},        {"\n", "default"},
        {"a/b", kMissing},         {"/", kMissing},
        {"public/news", kMissing}, {"private/orders", kMissing},
        {"a b", kMissing},         {"#", kMissing},
        {"+", kMissing},           {"*", kMissing},
        {"a\\b", kMissing},        {"a\xFF", kMissing},
    };
    for (const auto& test : kCases) {
        EXPECT_EQ(channelToPublishOn(test.channel), test.wanted) << test.channel.value_or("(missing)");
    }
}

TEST(MessageRefusal, LooksAtTheChannelAndThenAtTheBody) {
    const struct {
        MaybeText channel;
        MaybeText body;
        MaybeText wanted;
    } kCases[] = {
        {"news", "hi", kMissing},
        {"", "hi", kMissing},
        {kMissing, "hi", kMissing},
        {"a/b", "hi", "Channel 'a/b' is not valid"},
        {"a b", "hi", "Channel 'a b' is not valid"},
        {"news", "", kNoBody},
        {"news", " \n\t", kNoBody},
        {"news", kMissing, kNoBody},
        {"a/b", " ", kNoBody},
    };
    for (const auto& test : kCases) {
        PushClientMessage message;
        message.channel = test.channel;
        message.messageBody = test.body;
        EXPECT_EQ(messageRefusal(message), test.wanted) << test.channel.value_or("(missing)");
    }
}

TEST(TextRefusal, LooksAtTheTextAndThenAtTheChannel) {
    const struct {
        MaybeText channel;
        MaybeText text;
        MaybeText wanted;
    } kCases[] = {
        {"news", "hi", kMissing},    {"private/news", "hi", kMissing}, {"news", " ", kNoText},
        {"news", kMissing, kNoText}, {"", "hi", kNoChannel},           {kMissing, "hi", kNoChannel},
        {" ", "hi", kNoChannel},     {"a b", "hi", kNoChannel},        {"#", "", kNoChannel},
    };
    for (const auto& test : kCases) {
        EXPECT_EQ(textRefusal(test.channel, test.text), test.wanted) << test.channel.value_or("(missing)");
    }
}

TEST(TextToUserRefusal, LooksAtTheUserThenTheTextThenTheChannel) {
    const struct {
        MaybeText user;
        MaybeText channel;
        MaybeText text;
        MaybeText wanted;
    } kCases[] = {
        {"bob", "news", "hi", kMissing},
        {"al", "news", "hi", kNoUser},
        {kMissing, "news", "hi", kNoUser},
        {"*", "news", "hi", kNoUser},
        {"bob/01", "news", "hi", kNoUser},
        {std::string(32, 'b'), "news", "hi", kMissing},
        {std::string(33, 'b'), "news", "hi", kNoUser},
        {"al", "news", " ", kNoText},
        {"bob", "news", kMissing, kNoText},
        {"bob", "", "hi", "Channel '' is not valid"},
        {"bob", " ", "hi", "Channel ' ' is not valid"},
        {"bob", kMissing, "hi", "Channel '(null)' is not valid"},
        {"bob", "a#", "hi", "Channel 'a#' is not valid"},
        {"bob", "private/orders", "hi", "Channel 'private/orders' is not valid"},
        {"al", "a/b", " ", "Channel 'a/b' is not valid"},
    };
    for (const auto& test : kCases) {
        EXPECT_EQ(textToUserRefusal(test.user, test.channel, test.text), test.wanted)
            << test.user.value_or("(missing)") << " " << test.channel.value_or("(missing)");
    }
}

TEST(EventRefusal, LooksAtApplicationDeviceDataAndName) {
    const TopicIdentity all{"shop", "alice01", "D1"};
    const TopicIdentity noApplication{std::nullopt, "alice01", "D1"};
    const TopicIdentity noDevice{"shop", "alice01", std::nullopt};
    const TopicIdentity nothing;
    const std::optional<Dictionary> data{Dictionary()};
    const std::optional<Dictionary> noData;
    const struct {
        const TopicIdentity& identity;
        const char* name;
        const std::optional<Dictionary>& data;
        MaybeText wanted;
    } kCases[] = {
        {all, "login", data, kMissing},
        {noApplication, "login", data, "You are not initialized yet."},
        {noDevice, "login", data, "You are not registered yet."},
        {nothing, "login", data, "You are not registered yet."},
        {all, "login", noData, "data parameter should have value."},
        {nothing, "login", noData, "data parameter should have value."},
        {all, "a/b", data, "Eventname 'a/b' is not valid"},
        {all, "", data, "Eventname '' is not valid"},
        {all, "log in", data, "Eventname 'log in' is not valid"},
        {all, "+", data, "Eventname '+' is not valid"},
        {nothing, "#", noData, "Eventname '#' is not valid"},
    };
    for (const auto& test : kCases) {
        EXPECT_EQ(eventRefusal(test.identity, test.name, test.data), test.wanted) << test.name;
    }
}

}  // namespace
}  // namespace xel
