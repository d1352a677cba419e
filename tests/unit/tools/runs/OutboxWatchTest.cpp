#include <array>
#include <memory>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeDisk.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tools/runs/PublishingRun.h"

namespace xel::tools {
namespace {

constexpr std::string_view kClient = "shop/alice01/D1";

class OutboxWatchTest : public testing::Test {
protected:
    OutboxWatchTest() {
        watch_.setSettledHandler([this] { ++settled_; });
    }
    void append(std::uint16_t packetId) {
        ASSERT_TRUE(
            watch_.appendToOutbox(kClient, {packetId, "app/shop/publish/public/news", "{}", false}).isOk());
    }
    void acknowledge(std::uint16_t packetId) {
        const std::array<std::uint16_t, 1> packetIds{packetId};
        watch_.removeFromOutbox(kClient, packetIds);
    }

    std::shared_ptr<InMemorySessionMemory> memory_ =
        std::make_shared<InMemorySessionMemory>(std::make_shared<FakeDisk>());
    OutboxWatch watch_{memory_};
    int settled_ = 0;
};

TEST_F(OutboxWatchTest, TellsWhenEverythingIsAcknowledged) {
    append(1);
    append(2);
    acknowledge(1);
    EXPECT_EQ(settled_, 0);
    acknowledge(2);
    EXPECT_EQ(settled_, 1);
    EXPECT_EQ(watch_.published().size(), 2U);
}

TEST_F(OutboxWatchTest, WaitsForWhatAnEarlierRunLeft) {
    ASSERT_TRUE(memory_->appendToOutbox(kClient, {7, "app/shop/publish/public/old", "{}", false}).isOk());
    EXPECT_EQ(watch_.loadOutbox(kClient).value().size(), 1U);
    append(1);
    acknowledge(1);
    EXPECT_EQ(settled_, 0);
    acknowledge(7);
    EXPECT_EQ(settled_, 1);
    EXPECT_EQ(watch_.published().size(), 1U);
}

}  // namespace
}  // namespace xel::tools
