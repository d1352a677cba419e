#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Classes/Messaging/WaitingEvents.h"
#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {
namespace {

TEST(WaitingEvents, HaveAsManyPlacesAsAnOutbox) {
    const MQTTSessionOptions limits;
    WaitingEvents waiting(limits);
    std::vector<WaitingEvents::Place> places;
    for (std::size_t i = 0; i < limits.maxOutboxPublications; ++i) {
        auto place = waiting.takePlace(0);
        ASSERT_TRUE(place) << i;
        places.push_back(std::move(place).value());
    }
    const auto refused = waiting.takePlace(0);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().domain, kMQTTErrorDomain);
    EXPECT_EQ(refused.error().code, static_cast<std::int64_t>(MQTTErrorCode::OutboxFull));
    places.pop_back();
    EXPECT_TRUE(waiting.takePlace(0)) << "a place is free again";
}

TEST(WaitingEvents, HaveRoomForAsManyOctetsAsAnOutbox) {
    const MQTTSessionOptions limits;
    WaitingEvents waiting(limits);
    auto place = waiting.takePlace(limits.maxOutboxOctets - 10);
    ASSERT_TRUE(place);
    EXPECT_FALSE(waiting.takePlace(11));
    EXPECT_TRUE(waiting.takePlace(10));
    place = waiting.takePlace(10);
    EXPECT_TRUE(waiting.takePlace(limits.maxOutboxOctets - 10));
}

TEST(WaitingEvents, MayBeOutlivedByTheirPlaces) {
    WaitingEvents::Place place;
    {
        WaitingEvents waiting{MQTTSessionOptions()};
        place = waiting.takePlace(1).value();
    }
    EXPECT_TRUE(place);
}

}  // namespace
}  // namespace xel
