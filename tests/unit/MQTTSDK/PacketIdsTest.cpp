#include <set>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/PacketIds.h"

namespace xel {
namespace {

TEST(PacketIds, CountFromOneAndComeRoundAgain) {
    PacketIds ids;
    for (int expected = 1; expected <= 65'535; ++expected) {
        const auto id = ids.take();
        ASSERT_EQ(id, expected);
        ids.release(id);
    }
    EXPECT_EQ(ids.take(), 1);
}

TEST(PacketIds, AreNeverGivenOutTwiceWhileInUse) {
    PacketIds ids;
    std::set<std::uint16_t> taken;
    for (int i = 0; i < 65'535; ++i) {
        const auto id = ids.take();
        ASSERT_NE(id, 0);
        ASSERT_TRUE(taken.insert(id).second);
    }
    EXPECT_EQ(ids.countInUse(), 65'535U);
    EXPECT_EQ(ids.take(), 0) << "all are in use";
    constexpr std::uint16_t kFreed[] = {40'000, 7, 64, 65'535, 63};
    for (const std::uint16_t freed : kFreed) {
        ids.release(freed);
        EXPECT_EQ(ids.take(), freed);
        EXPECT_EQ(ids.take(), 0);
    }
}

TEST(PacketIds, SkipThoseInUseWhenTheyComeRound) {
    PacketIds ids;
    for (int i = 0; i < 200; ++i) {
        static_cast<void>(ids.take());
    }
    ids.release(130);
    for (int id = 201; id <= 65'535; ++id) {
        ids.release(ids.take());
    }
    EXPECT_EQ(ids.take(), 130);
    EXPECT_EQ(ids.take(), 201);
}

TEST(PacketIds, ComeBackAsLateAsPossible) {
    PacketIds ids;
    ids.release(ids.take());
    EXPECT_EQ(ids.take(), 2);
}

TEST(PacketIds, CanBeReservedOnceAndNeverZero) {
    PacketIds ids;
    EXPECT_TRUE(ids.reserve(500));
    EXPECT_FALSE(ids.reserve(500));
    EXPECT_FALSE(ids.reserve(0));
    EXPECT_EQ(ids.take(), 501) << "new ones come behind the reserved ones";
    ids.release(500);
    EXPECT_TRUE(ids.reserve(500));
}

TEST(PacketIds, IgnoreTheReleaseOfWhatIsNotInUse) {
    PacketIds ids;
    ids.release(0);
    ids.release(9);
    EXPECT_EQ(ids.countInUse(), 0U);
    EXPECT_EQ(ids.take(), 1);
}

}  // namespace
}  // namespace xel
