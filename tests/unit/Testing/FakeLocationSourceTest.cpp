#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeLocationSource.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class FakeLocationSourceTest : public testing::Test {
protected:
    std::unique_ptr<LocationUpdates> start(double distanceFilter = 0.0) {
        return source_.startUpdates(distanceFilter, [&](const Result<CLLocation>& fix) {
            ASSERT_TRUE(fix);
            latitudes_.push_back(fix.value().coordinate.latitude);
            last_ = fix.value();
        });
    }

    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeClock> clock_ = std::make_shared<FakeClock>(loop_);
    FakeLocationSource source_{loop_, clock_};
    std::vector<double> latitudes_;
    CLLocation last_;
};

TEST_F(FakeLocationSourceTest, PlaysATrackOnVirtualTime) {
    source_.play(readTrack("0 10 20 5\n1.5 11 20 6\n60 12 20 -1"));
    const auto updates = start();
    loop_->runUntilIdle();
    EXPECT_THAT(latitudes_, ElementsAre(10.0));
    loop_->advanceBy(1499ms);
    EXPECT_EQ(latitudes_.size(), 1U);
    loop_->advanceBy(1ms);
    EXPECT_THAT(latitudes_, ElementsAre(10.0, 11.0));
    EXPECT_EQ(last_, (CLLocation{{11.0, 20.0}, 6.0, -1.0, clock_->now()}));
    loop_->advanceBy(1h);
    EXPECT_THAT(latitudes_, ElementsAre(10.0, 11.0, 12.0));
    EXPECT_EQ(last_.horizontalAccuracy, -1.0);
}

TEST_F(FakeLocationSourceTest, IsOnItsWayWhileNobodyAsks) {
    source_.play(readTrack("0 10 20 5\n5 11 20 5\n10 12 20 5"));
    loop_->advanceBy(6s);
    const auto updates = start();
    loop_->runUntilIdle();
    EXPECT_THAT(latitudes_, ElementsAre(11.0));
    loop_->advanceBy(4s);
    EXPECT_THAT(latitudes_, ElementsAre(11.0, 12.0));
}

TEST_F(FakeLocationSourceTest, HoldsMovesBackThatAreShorterThanTheFilter) {
    source_.play(readTrack("0 10 20 5\n1 10.0001 20 5\n2 10.0002 20 5\n3 10.0005 20 5\n4 10.0006 20 5"));
    const auto updates = start(50.0);
    loop_->advanceBy(10s);
    EXPECT_THAT(latitudes_, ElementsAre(10.0, 10.0005)) << "11 m, 22 m, 56 m, and 11 m again";
}

TEST_F(FakeLocationSourceTest, KnowsNoPlaceAtFirst) {
    const auto updates = start();
    loop_->advanceBy(1h);
    EXPECT_THAT(latitudes_, IsEmpty());
    source_.standAt({10.0, 20.0});
    loop_->runUntilIdle();
    EXPECT_THAT(latitudes_, ElementsAre(10.0));
}

TEST_F(FakeLocationSourceTest, ReportsAnyFixItIsGiven) {
    source_.standAt({10.0, 20.0});
    const auto updates = start(1000.0);
    loop_->runUntilIdle();
    const CLLocation old{{10.0, 20.0}, -1.0, 3.0, dateFromSecondsSince1970(1)};
    source_.report(old);
    loop_->runUntilIdle();
    EXPECT_EQ(last_, old);
}

TEST_F(FakeLocationSourceTest, CountsWhoRuns) {
    auto first = start(7.0);
    const auto second = start(9.0);
    EXPECT_EQ(source_.runningCount(), 2U);
    first.reset();
    EXPECT_EQ(source_.runningCount(), 1U);
    EXPECT_THAT(source_.startedFilters(), ElementsAre(7.0, 9.0));
}

TEST(RecordedTrack, SkipsCommentsAndEmptyLines) {
    const auto track = readTrack("# a walk\n\n  0 35.7 51.4 5\r\n\t2.25 -35.7 -51.4 -1\n");
    ASSERT_EQ(track.size(), 2U);
    EXPECT_EQ(track[1].at, 2250ms);
    EXPECT_EQ(track[1].coordinate, CLLocationCoordinate2DMake(-35.7, -51.4));
    EXPECT_EQ(track[1].horizontalAccuracy, -1.0);
}

TEST(RecordedTrack, NamesTheLineItCannotRead) {
    for (const auto* text : {"0 1 2", "0 1 2 3 4", "x 1 2 3", "0 1 2 3x", "-1 1 2 3", "2e9 1 2 3"}) {
        EXPECT_THROW(static_cast<void>(readTrack(text)), std::invalid_argument) << text;
    }
    try {
        static_cast<void>(readTrack("0 1 2 3\n5 1 2 3\n4 1 2 3"));
        FAIL() << "a track that goes back in time was read";
    } catch (const std::invalid_argument& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("line 3"));
    }
}

}  // namespace
}  // namespace xel
