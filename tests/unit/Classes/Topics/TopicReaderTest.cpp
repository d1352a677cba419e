#include <gtest/gtest.h>

#include "XelPushClient/Classes/Topics/TopicReader.h"
#include "XelPushClient/Platform/Diagnostics.h"

namespace xel {
namespace {

TEST(TopicReader, ReadsEachTopicAnewThatIsNotTheLastOne) {
    TopicReader reader;
    struct Row {
        std::string_view topic;
        std::optional<std::string> appId;
        PublicationKind kind;
        std::optional<std::string> channel;
    };
    const Row rows[] = {
        {"app/shop/user/public/news", "shop", PublicationKind::Message, "news"},
        {"app/shop/user/public/news", "shop", PublicationKind::Message, "news"},
        {"app/shop/user/alice01/orders", "shop", PublicationKind::Message, "private/orders"},
        {"app/shop/event/login/X9", "shop", PublicationKind::Event, "login/X9"},
        // The same topic is another application's.
        {"app/shop/event/login/X9", "other", PublicationKind::Message, "login/X9"},
        {"app/shop/event/login/X9", std::nullopt, PublicationKind::Message, "login/X9"},
        {"app/shop/event/login/X9", "shop", PublicationKind::Event, "login/X9"},
        {"app/shop/delivery/alice01/m1", "shop", PublicationKind::DeliveryReport, "private/m1"},
        {"", "shop", PublicationKind::Message, std::nullopt},
        {"app/shop/user/public/news", "shop", PublicationKind::Message, "news"},
    };
    for (const auto& row : rows) {
        const auto& reading = reader.read(row.topic, row.appId);
        EXPECT_EQ(reading.kind, row.kind) << row.topic;
        EXPECT_EQ(reading.channel, row.channel) << row.topic;
    }
}

TEST(TopicReader, ReadsTheEmptyTopicFirst) {
    TopicReader reader;
    EXPECT_EQ(reader.read("", std::nullopt).kind, PublicationKind::Message);
}

}  // namespace
}  // namespace xel
