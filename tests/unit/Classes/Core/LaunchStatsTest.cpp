#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using LaunchStatsTest = RoomsTest;

TEST_F(LaunchStatsTest, AreMissingBeforeTheFirstLaunch) {
    EXPECT_FALSE(rooms_->settings.getLaunchCount());
    EXPECT_EQ(rooms_->settings.getLaunchTime(), 0);
    EXPECT_FALSE(rooms_->settings.launchedByUser());
}

TEST_F(LaunchStatsTest, CountOneTwoThree) {
    for (const std::int64_t count : {1, 2, 3}) {
        rooms_->settings.setLaunchStats();
        EXPECT_EQ(rooms_->settings.getLaunchCount(), count);
        EXPECT_EQ(onDisk("AppLaunchCount"), Value(count));
    }
    EXPECT_TRUE(rooms_->settings.launchedByUser());
}

TEST_F(LaunchStatsTest, StoreTheTimeAsTextWithSixDecimals) {
    machine_.clock->setDate(dateFromMillisecondsSince1970(1514800000000.5));
    rooms_->settings.setLaunchStats();
    EXPECT_EQ(onDisk("AppLaunchTime"), Value("1514800000000.500000"));
    EXPECT_EQ(rooms_->settings.getLaunchTime(), 1514800000000);
}

}  // namespace
}  // namespace xel
