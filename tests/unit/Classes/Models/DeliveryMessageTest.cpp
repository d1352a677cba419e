#include <gtest/gtest.h>

#include "XelPushClient/Classes/Models/DeliveryMessage.h"

namespace xel {
namespace {

constexpr std::string_view kTopic = "app/a1b2c3/delivery/alice01/m1";

TEST(DeliveryMessage, ReadsTheThreeFieldsAndTheMessageId) {
    const auto delivery = DeliveryMessage::fromPublication("alice01-:-X9-:-1514800000000", kTopic);
    ASSERT_TRUE(delivery);
    EXPECT_EQ(delivery->messageId, "m1");
    EXPECT_EQ(delivery->deliveredUserId, "alice01");
    EXPECT_EQ(delivery->deliveredDeviceId, "X9");
    EXPECT_EQ(secondsSince1970(delivery->deliveredAt), 1514800000.0);
}

TEST(DeliveryMessage, ReadsTheInstantAsANumberOfMilliseconds) {
    const std::vector<std::pair<std::string, double>> table = {
        {"1500000000500", 1500000000.5},
        {"1500000000500.25", 1500000000.50025},
        {"0", 0},
        {"-2000", -2},
        {"1500trailing", 1.5},
        {"", 0},
        {"soon", 0},
        {"nan", 0},
        {"inf", 0},
        {"1e999", 0},
    };
    for (const auto& [text, seconds] : table) {
        const auto delivery = DeliveryMessage::fromPublication("u-:-d-:-" + text, kTopic);
        ASSERT_TRUE(delivery) << text;
        EXPECT_DOUBLE_EQ(secondsSince1970(delivery->deliveredAt), seconds) << text;
    }
}

TEST(DeliveryMessage, IsNoneWithoutExactlyThreeFields) {
    for (const auto* payload : {"", "u", "u-:-d", "u-:-d-:-1-:-2", "u-d-1", "u-:-d-:-1-:-"}) {
        EXPECT_FALSE(DeliveryMessage::fromPublication(payload, kTopic)) << payload;
    }
}

TEST(DeliveryMessage, IsNoneForOctetsThatAreNoText) {
    EXPECT_FALSE(DeliveryMessage::fromPublication("u\xFF-:-d-:-1", kTopic));
}

TEST(DeliveryMessage, IsNoneForATopicThatNamesNoMessage) {
    EXPECT_FALSE(DeliveryMessage::fromPublication("u-:-d-:-1", "app/a1b2c3/delivery/alice01"));
    EXPECT_FALSE(DeliveryMessage::fromPublication("u-:-d-:-1", "app/a1b2c3/delivery"));
}

TEST(DeliveryMessage, IgnoresLaterSegmentsOfTheTopic) {
    const auto delivery =
        DeliveryMessage::fromPublication("u-:-d-:-1", "app/a1b2c3/delivery/alice01/m1/and/more");
    ASSERT_TRUE(delivery);
    EXPECT_EQ(delivery->messageId, "m1");
}

}  // namespace
}  // namespace xel
