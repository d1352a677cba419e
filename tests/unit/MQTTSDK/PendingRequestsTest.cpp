#include <memory>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/PendingRequests.h"

namespace xel {
namespace {

class PendingRequestsTest : public testing::Test {
protected:
    std::shared_ptr<PacketIds> packetIds_ = std::make_shared<PacketIds>();
    PendingRequests requests_{packetIds_};
};

TEST_F(PendingRequestsTest, KnowWhichWasWritten) {
    const auto subscribe = requests_.addSubscribe({SubscribePurpose::Single, {{"a", 1}}});
    const auto second = requests_.addSubscribe({SubscribePurpose::Single, {{"b", 1}}});
    const auto unsubscribe = requests_.addUnsubscribe({{"c"}});
    EXPECT_NE(subscribe, 0);
    EXPECT_EQ(requests_.firstWritten(), std::nullopt) << "all wait";
    requests_.findUnsubscribe(unsubscribe)->place = 0;
    EXPECT_EQ(requests_.firstWritten(), unsubscribe);
    requests_.findSubscribe(second)->place = 7;
    EXPECT_EQ(requests_.firstWritten(), second) << "a SUBSCRIBE before an UNSUBSCRIBE";
    EXPECT_TRUE(requests_.takeSubscribe(second));
    EXPECT_EQ(requests_.firstWritten(), unsubscribe);
    EXPECT_TRUE(requests_.takeUnsubscribe(unsubscribe));
    EXPECT_EQ(requests_.firstWritten(), std::nullopt);
}

TEST_F(PendingRequestsTest, KnowForWhatTheyAre) {
    const auto single = requests_.addSubscribe({SubscribePurpose::Single, {{"a", 1}}});
    const auto restoration = requests_.addSubscribe({SubscribePurpose::Restoration, {{"b", 1}}});
    EXPECT_NE(single, 0);
    EXPECT_TRUE(requests_.isAnyFor(SubscribePurpose::Restoration));
    EXPECT_FALSE(requests_.isAnyFor(SubscribePurpose::Batch));
    EXPECT_TRUE(requests_.takeSubscribe(restoration));
    EXPECT_FALSE(requests_.isAnyFor(SubscribePurpose::Restoration));
}

TEST_F(PendingRequestsTest, GiveBackTheIdentifiersOfWhatIsUnanswered) {
    std::uint16_t takenOut = 0;
    {
        PendingRequests ending(packetIds_);
        EXPECT_NE(ending.addSubscribe({SubscribePurpose::Single, {{"a", 1}}}), 0);
        takenOut = ending.addUnsubscribe({{"b"}});
        EXPECT_EQ(ending.takeUnsubscribes().size(), 1U);
        EXPECT_EQ(packetIds_->countInUse(), 2U);
    }
    EXPECT_EQ(packetIds_->countInUse(), 1U);
    EXPECT_FALSE(packetIds_->reserve(takenOut)) << "what was taken out keeps its own";
}

}  // namespace
}  // namespace xel
