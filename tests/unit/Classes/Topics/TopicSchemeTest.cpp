#include <gtest/gtest.h>

#include "XelPushClient/Classes/Topics/TopicScheme.h"

namespace xel {
namespace {

const TopicIdentity kAlice = {"a1b2c3", "alice01", "D3V1CE"};

using MaybeTopic = std::optional<std::string>;

TEST(TopicScheme, BuildsTheFixedTopics) {
    EXPECT_EQ(brokerTopicForDevice(kAlice), "app/a1b2c3/user/alice01/D3V1CE");
    EXPECT_EQ(brokerTopic(kAlice), "app/a1b2c3/user/alice01/default");
    EXPECT_EQ(publicTopic(kAlice), "app/a1b2c3/user/public/default");
    EXPECT_EQ(deliveryTopic(kAlice), "app/a1b2c3/delivery/alice01/#");
    EXPECT_EQ(liveTopic(kAlice), "app/a1b2c3/user/public/live");
}

TEST(TopicScheme, BuildsNoFixedTopicWithoutApplicationAndUser) {
    const std::vector<TopicIdentity> incomplete = {
        {"a1b2c3", std::nullopt, "D"}, {std::nullopt, "alice01", "D"},
        {"a1b2c3", " ", "D"},          {"\n", "alice01", "D"},
        {"a1b2c3", "", "D"},           {"", "alice01", "D"},
    };
    for (const auto& identity : incomplete) {
        EXPECT_FALSE(brokerTopicForDevice(identity) || brokerTopic(identity) || publicTopic(identity) ||
                     deliveryTopic(identity) || liveTopic(identity));
    }
}

TEST(TopicScheme, NamesAMissingDeviceInTheDevicesTopic) {
    EXPECT_EQ(brokerTopicForDevice({"a1b2c3", "alice01", std::nullopt}), "app/a1b2c3/user/alice01/(null)");
}

TEST(TopicScheme, BuildsEventTopics) {
    EXPECT_EQ(eventTopic(kAlice, "login"), "app/a1b2c3/event/login/+");
    EXPECT_EQ(eventTopic(kAlice, "login", "X9"), "app/a1b2c3/event/login/X9");
}

TEST(TopicScheme, BuildsTheTopicsOfPublications) {
    EXPECT_EQ(publishTopic(kAlice, "bob01", "news"), "app/a1b2c3/publish/bob01/news");
    EXPECT_EQ(publicPublishTopic(kAlice, "news"), "app/a1b2c3/publish/public/news");
    EXPECT_EQ(seenTopic(kAlice, "m1"), "app/a1b2c3/event/seen/m1");
    EXPECT_EQ(dismissTopic(kAlice, "m1"), "app/a1b2c3/event/dismiss/m1");
    EXPECT_EQ(seenTopic(TopicIdentity(), std::nullopt), "app/(null)/event/seen/(null)");
    EXPECT_EQ(dismissTopic(TopicIdentity(), std::nullopt), "app/(null)/event/dismiss/(null)");
    EXPECT_EQ(publishTopic(TopicIdentity(), "bob01", "news"), "app/(null)/publish/bob01/news");
}

TEST(TopicScheme, TurnsChannelsIntoTopics) {
    const std::vector<std::pair<std::string, MaybeTopic>> table = {
        {"news", "app/a1b2c3/user/public/news"},
        {"public/news", "app/a1b2c3/user/public/news"},
        {"private/orders", "app/a1b2c3/user/alice01/orders"},
        {"private/", "app/a1b2c3/user/alice01/"},
        {"public/", "app/a1b2c3/user/public/"},
        {"private", "app/a1b2c3/user/public/private"},
        {"team/news", std::nullopt},
        {"Public/news", std::nullopt},
        {"/news", std::nullopt},
        {"a/b/c", std::nullopt},
        {"private/a/b", std::nullopt},
        {"private//b", std::nullopt},
        {"", std::nullopt},
        {" ", std::nullopt},
        {"bad#name", std::nullopt},
        {"private/or ders", std::nullopt},
    };
    for (const auto& [channel, topic] : table) {
        const auto generated = generateTopicWithChannel(kAlice, channel);
        EXPECT_EQ(generated.isOk() ? MaybeTopic(generated.value()) : std::nullopt, topic) << channel;
        if (!generated) {
            EXPECT_EQ(generated.error().domain, "InvalidParameter");
            EXPECT_EQ(generated.error().code, -5002);
            EXPECT_EQ(generated.error().localizedDescription(), "Channel '" + channel + "' is not valid");
        }
    }
}

TEST(TopicScheme, NamesMissingPartsOfAChannelsTopic) {
    EXPECT_EQ(generateTopicWithChannel({}, "private/orders").value(), "app/(null)/user/(null)/orders");
}

TEST(TopicScheme, TurnsTopicsIntoBothFormsOfAChannel) {
    struct Row {
        std::string topic;
        MaybeTopic forApplication;
        MaybeTopic forInstallation;
    };
    const std::vector<Row> table = {
        {"app/a1b2c3/user/alice01/orders", "private/orders", "orders"},
        {"app/a1b2c3/user/public/news", "news", "public/news"},
        {"app/a1b2c3/event/login/+", "login", "login"},
        {"app/a1b2c3/event/login/X9", "login/X9", "login/X9"},
        {"app/a1b2c3/event/public/X9", "public/X9", "public/X9"},
        {"app/a1b2c3/user/alice01/D3V1CE", "private/D3V1CE", "D3V1CE"},
        {"app/a1b2c3/user/alice01/default", "private/default", "default"},
        {"app/a1b2c3/delivery/alice01/#", "private/#", "#"},
        {"app/a1b2c3/user/alice01/orders/more/of/it", "private/orders", "orders"},
        {"x/y/z/public/name", "name", "public/name"},
        {"app/a1b2c3/user/alice01/", "private/", ""},
        {"app/a1b2c3/user/alice01", std::nullopt, std::nullopt},
        {"app", std::nullopt, std::nullopt},
        {"", std::nullopt, std::nullopt},
    };
    for (const auto& row : table) {
        EXPECT_EQ(getChannelFromTopic(row.topic), row.forApplication) << row.topic;
        EXPECT_EQ(getChannelFromTopicForInstallation(row.topic), row.forInstallation) << row.topic;
    }
}

TEST(TopicScheme, RecognisesATopicsKindAnywhereInIt) {
    EXPECT_TRUE(isDeliveryTopic("app/shop/delivery/alice01/m1", "shop"));
    EXPECT_TRUE(isDeliveryTopic("before/app/shop/delivery/after", "shop"));
    EXPECT_TRUE(isDeliveryTopic("app/app/shop/deliverypost", "shop"));
    EXPECT_FALSE(isDeliveryTopic("app/shop/event/login/X9", "shop"));
    EXPECT_FALSE(isDeliveryTopic("app/shopping/delivery/alice01/m1", "shop"));
    EXPECT_FALSE(isDeliveryTopic("app/shop/deliver", "shop"));
    EXPECT_TRUE(isEventTopic("app/shop/event/login/X9", "shop"));
    EXPECT_FALSE(isEventTopic("app/shop/delivery/alice01/m1", "shop"));
    EXPECT_FALSE(isEventTopic("app/other/event/login/X9", "shop"));
}

TEST(TopicScheme, RecognisesNothingInABlankTopicOrForABlankKind) {
    EXPECT_FALSE(isTavrinTopicFor("", "delivery", "shop"));
    EXPECT_FALSE(isTavrinTopicFor("  ", "delivery", "shop"));
    EXPECT_FALSE(isTavrinTopicFor("app/shop/delivery", "", "shop"));
    EXPECT_FALSE(isTavrinTopicFor("app/shop/ ", " ", "shop"));
}

TEST(TopicScheme, DoesNotTestTheApplicationIdItself) {
    EXPECT_TRUE(isDeliveryTopic("app//delivery/x", ""));
    EXPECT_TRUE(isDeliveryTopic("app/(null)/delivery/x", std::nullopt));
}

}  // namespace
}  // namespace xel
