#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/WaitingRequests.h"

namespace xel {
namespace {

using Ids = std::vector<std::uint16_t>;

class WaitingRequestsTest : public testing::Test {
protected:
    std::uint16_t addSubscribe(SubscribePurpose purpose, const char* filter, int qos = 1) {
        return requests_.addSubscribe({purpose, {{filter, qos}}});
    }

    Ids takeAllHeld() {
        Ids ids;
        while (const auto packetId = waiting_.takeHeld()) {
            ids.push_back(*packetId);
        }
        return ids;
    }

    void setAside(const SentThing& thing) {
        for (int i = 0; i < 3; ++i) {
            static_cast<void>(suspects_.connectionWasEnded(thing, Suspects::TimePoint{}));
        }
        ASSERT_TRUE(suspects_.isSetAside(thing));
    }

    std::shared_ptr<PacketIds> packetIds_ = std::make_shared<PacketIds>();
    PendingRequests requests_{packetIds_};
    Suspects suspects_{MQTTSessionOptions{}};
    WaitingRequests waiting_;
};

TEST_F(WaitingRequestsTest, AreOneThingEachWhenTheyAreForOneTopic) {
    EXPECT_EQ(thingOf(requests_, addSubscribe(SubscribePurpose::Single, "a")), SentThing::subscription("a"));
    EXPECT_EQ(thingOf(requests_, requests_.addUnsubscribe({{"a"}})), SentThing::unsubscription("a"));
    EXPECT_EQ(thingOf(requests_, requests_.addSubscribe({SubscribePurpose::Batch, {{"a", 1}, {"b", 1}}})),
              std::nullopt);
    EXPECT_EQ(thingOf(requests_, requests_.addUnsubscribe({{"a", "b"}})), std::nullopt);
    EXPECT_EQ(thingOf(requests_, 999), std::nullopt) << "there is none";
}

TEST_F(WaitingRequestsTest, ComeInTheirOrder) {
    EXPECT_EQ(waiting_.takeHeld(), std::nullopt);
    for (const std::uint16_t packetId : Ids{3, 1, 2}) {
        waiting_.hold(packetId);
    }
    EXPECT_EQ(takeAllHeld(), (Ids{3, 1, 2}));
}

TEST_F(WaitingRequestsTest, AreSupersededByABatchOfTheSameTopicAtTheSameLevel) {
    const auto same = addSubscribe(SubscribePurpose::Batch, "a");
    const auto otherLevel = addSubscribe(SubscribePurpose::Batch, "a", 0);
    const auto otherTopic = addSubscribe(SubscribePurpose::Batch, "b");
    const auto single = addSubscribe(SubscribePurpose::Single, "a");
    const auto unsubscribe = requests_.addUnsubscribe({{"a"}});
    for (const auto packetId : {same, otherLevel, otherTopic, single, unsubscribe}) {
        waiting_.hold(packetId);
    }
    const std::vector<SubscribeRequest::Topic> later{{"a", 1}, {"b", 0}, {"c", 1}};
    EXPECT_EQ(waiting_.supersedeHeld(requests_, later), Ids{same});
    EXPECT_EQ(requests_.findSubscribe(same), nullptr);
    EXPECT_EQ(takeAllHeld(), (Ids{otherLevel, otherTopic, single, unsubscribe}));
}

TEST_F(WaitingRequestsTest, AreDroppedWhenTheContraryIsAskedFor) {
    const auto wanted = addSubscribe(SubscribePurpose::Single, "a");
    const auto other = addSubscribe(SubscribePurpose::Single, "b");
    const auto unsubscribe = requests_.addUnsubscribe({{"a"}});
    const auto gone = addSubscribe(SubscribePurpose::Single, "c");
    for (const auto packetId : {wanted, other, unsubscribe, gone}) {
        waiting_.park(packetId);
    }
    EXPECT_TRUE(requests_.takeSubscribe(gone));
    waiting_.dropParked(requests_, SentThing::Kind::Subscription, "a");
    EXPECT_EQ(requests_.findSubscribe(wanted), nullptr);
    EXPECT_FALSE(waiting_.isParked(requests_, SentThing::subscription("a")));
    EXPECT_TRUE(waiting_.isParked(requests_, SentThing::subscription("b")));
    EXPECT_TRUE(waiting_.isParked(requests_, SentThing::unsubscription("a")));
    waiting_.dropParked(requests_, SentThing::Kind::Unsubscription, "a");
    EXPECT_FALSE(waiting_.isParked(requests_, SentThing::unsubscription("a")));
    EXPECT_EQ(packetIds_->countInUse(), 1U);
}

TEST_F(WaitingRequestsTest, AreHeldLikeOthersOnceTheirTopicIsAcquitted) {
    const auto bad = addSubscribe(SubscribePurpose::Single, "bad");
    const auto good = addSubscribe(SubscribePurpose::Single, "good");
    const auto gone = addSubscribe(SubscribePurpose::Single, "gone");
    for (const auto packetId : {bad, good, gone}) {
        waiting_.park(packetId);
    }
    setAside(SentThing::subscription("bad"));
    EXPECT_TRUE(requests_.takeSubscribe(gone));
    waiting_.holdWhatIsAcquitted(requests_, suspects_);
    EXPECT_TRUE(waiting_.isParked(requests_, SentThing::subscription("bad")));
    EXPECT_EQ(takeAllHeld(), Ids{good});
    EXPECT_EQ(waiting_.takeParked(requests_, SentThing::subscription("bad")), bad);
    EXPECT_FALSE(waiting_.isParked(requests_, SentThing::subscription("bad")));
}

}  // namespace
}  // namespace xel
