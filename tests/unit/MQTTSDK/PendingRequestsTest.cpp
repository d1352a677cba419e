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

TEST_F(PendingRequestsTest, TakeOutOnlyWhatIsThere) {
    EXPECT_FALSE(requests_.takeSubscribe(1));
    EXPECT_FALSE(requests_.takeUnsubscribe(1));
    const auto subscribe = requests_.addSubscribe({SubscribePurpose::Single, {{"a", 1}}});
    EXPECT_FALSE(requests_.takeUnsubscribe(subscribe)) << "it is none";
    EXPECT_EQ(packetIds_->countInUse(), 1U);
}

TEST_F(PendingRequestsTest, KnowWhichTopicsAreNoLongerWanted) {
    const auto packetId = requests_.addSubscribe({SubscribePurpose::Single, {{"a", 1}, {"b", 1}, {"c", 1}}});
    requests_.noteUnsubscribed(std::vector<std::string_view>{"a", "unknown"});
    requests_.noteUnsubscribed(std::vector<std::string_view>{"b"});
    const auto request = requests_.takeSubscribe(packetId).value();
    EXPECT_TRUE(request.topics[0].wasUnsubscribed) << "once and for all";
    EXPECT_TRUE(request.topics[1].wasUnsubscribed);
    EXPECT_FALSE(request.topics[2].wasUnsubscribed);
}

TEST_F(PendingRequestsTest, HaveNoPlaceWithoutAFreeIdentifier) {
    while (packetIds_->take() != 0) {}
    EXPECT_EQ(requests_.addSubscribe({SubscribePurpose::Single, {{"a", 1}}}), 0);
    EXPECT_EQ(requests_.addUnsubscribe({{"a"}}), 0);
    EXPECT_TRUE(requests_.takeUnsubscribes().empty());
    packetIds_->release(77);
    EXPECT_EQ(requests_.addUnsubscribe({{"a"}}), 77);
}

}  // namespace
}  // namespace xel
