#include <limits>

#include "tests/unit/Classes/GeoLocation/GeoLocationTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class RegionMonitoringTest : public GeoLocationTest {};

TEST_F(RegionMonitoringTest, TellsOfEnteringAndLeaving) {
    standAt(1000);
    ASSERT_TRUE(watch());
    EXPECT_EQ(location_->getRegionWithIdentifier("g1"), (CLCircularRegion{kCenter, 200.0, "g1"}));
    standAt(100);
    standAt(50);
    standAt(1000);
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello", "left g1: bye"));
}

TEST_F(RegionMonitoringTest, TakesTheFirstFixForTheSideAndNotForACrossing) {
    standAt(10);
    ASSERT_TRUE(watch());
    EXPECT_THAT(takeHeard(), IsEmpty());
    standAt(1000);
    EXPECT_THAT(takeHeard(), ElementsAre("left g1: bye"));
}

TEST_F(RegionMonitoringTest, FollowsARecordedWalk) {
    std::string walk;
    for (int step = 0; step <= 70; ++step) {
        // From 1000 m in the north to 1100 m in the south, 30 m a step, two steps a minute.
        const auto place = metresFromCenter(1000.0 - 30.0 * step);
        walk += formatted("%d %.7f %.7f 8\n", 30 * step, place.latitude, place.longitude);
    }
    machine_.locationSource->play(readTrack(walk));
    ASSERT_TRUE(watch());
    machine_.advanceBy(13min);
    EXPECT_THAT(takeHeard(), IsEmpty()) << "220 m away";
    machine_.advanceBy(30s);
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello")) << "190 m away";
    machine_.advanceBy(6min + 30s);
    EXPECT_THAT(takeHeard(), IsEmpty()) << "200 m away on the other side";
    machine_.advanceBy(30s);
    EXPECT_THAT(takeHeard(), ElementsAre("left g1: bye"));
}

TEST_F(RegionMonitoringTest, IgnoresFixesThatAreOldOrNowhere) {
    standAt(1000);
    ASSERT_TRUE(watch());
    auto& source = *machine_.locationSource;
    const Date now = machine_.clock->now();
    source.report({metresFromCenter(0), 5.0, -1.0, now - 61s});
    source.report({metresFromCenter(0), 5.0, -1.0, now + 61s});
    source.report({{91.0, 0.0}, 5.0, -1.0, now});
    source.report({metresFromCenter(0), -1.0, -1.0, now});
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), IsEmpty());
    EXPECT_TRUE(machine_.logSink->contains("Ignore location 91.000000, 0.000000 of 2026-03-01"));
    source.report({metresFromCenter(0), 5.0, -1.0, now - 59s});
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello"));
}

TEST_F(RegionMonitoringTest, EndsWithItsLastCrossing) {
    standAt(1000);
    ASSERT_TRUE(watch(3));
    standAt(0);
    standAt(1000);
    EXPECT_TRUE(isWatched());
    standAt(0);
    EXPECT_FALSE(isWatched()) << "the third was the last";
    standAt(1000);
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello", "left g1: bye", "entered g1: hello"));
    EXPECT_EQ(running(), 0U);
    EXPECT_FALSE(onDisk("monitoredRegions"));
    EXPECT_TRUE(machine_.logSink->contains("'g1' region monitoring has expired"));
}

TEST_F(RegionMonitoringTest, CountsCrossingsOverRestarts) {
    standAt(1000);
    ASSERT_TRUE(watch(2));
    standAt(0);
    launch();
    standAt(1000);
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello", "left g1: bye"));
    EXPECT_FALSE(isWatched());
}

TEST_F(RegionMonitoringTest, GoesOnForeverWithoutACount) {
    for (const std::int64_t count : {0, -1}) {
        standAt(1000);
        ASSERT_TRUE(watch(count));
        for (int round = 0; round < 50; ++round) {
            standAt(0);
            standAt(1000);
        }
        EXPECT_EQ(takeHeard().size(), 100U);
        EXPECT_TRUE(isWatched());
    }
}

TEST_F(RegionMonitoringTest, EndsAtItsTimeAndLetsTheSourceGo) {
    standAt(1000);
    ASSERT_TRUE(watch(0, nowInMilliseconds() + 3600'000.0));
    machine_.advanceBy(3599s);
    EXPECT_TRUE(isWatched());
    EXPECT_EQ(running(), 1U);
    machine_.advanceBy(1s);
    EXPECT_FALSE(isWatched());
    EXPECT_EQ(running(), 0U);
    EXPECT_EQ(machine_.runLoop->scheduledTimerCount(), 0U) << "nothing is looked at any more";
    standAt(0);
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(RegionMonitoringTest, EndsAtItsTimeAlsoWhenTheDateIsSet) {
    ASSERT_TRUE(watch(0, nowInMilliseconds() + 10.0 * 24 * 3600'000.0));
    machine_.clock->setDate(machine_.clock->now() + std::chrono::hours(24 * 9 + 12));
    machine_.advanceBy(25h);
    EXPECT_FALSE(isWatched()) << "the date is looked at once a day";

    standAt(1000);
    ASSERT_TRUE(watch(0, nowInMilliseconds() + 60'000.0));
    machine_.clock->setDate(machine_.clock->now() + 61s);
    standAt(0);
    EXPECT_THAT(takeHeard(), IsEmpty()) << "a position finds it over, before its timer";
    EXPECT_FALSE(isWatched());
}

TEST_F(RegionMonitoringTest, IsTakenAndEndsOnTheNextTurnWhenItsTimeIsPast) {
    ASSERT_TRUE(location_->startMonitoringRegion({kCenter, 200.0, "g1"}, 0, 1600000000.0, "hello", "bye"));
    EXPECT_TRUE(isWatched());
    machine_.runUntilIdle();
    EXPECT_FALSE(isWatched());
    EXPECT_EQ(running(), 0U);
}

TEST_F(RegionMonitoringTest, IsNotEndedByATimeBeyondAllCalendars) {
    for (const double expireTs : {1e300, std::numeric_limits<double>::infinity(), -1.0}) {
        ASSERT_TRUE(watch(0, expireTs));
        machine_.advanceBy(std::chrono::hours(24 * 366));
        EXPECT_TRUE(isWatched()) << expireTs;
    }
}

TEST_F(RegionMonitoringTest, BeginsAnewWithTheSameIdentifier) {
    standAt(1000);
    ASSERT_TRUE(watch(1));
    ASSERT_TRUE(location_->startMonitoringRegion({metresFromCenter(1000), 300.0, "g1"}, 0, 0.0, "A", "B"));
    machine_.runUntilIdle();
    EXPECT_EQ(location_->monitoredRegions().size(), 1U);
    EXPECT_EQ(location_->getRegionWithIdentifier("g1")->radius, 300.0);
    standAt(0);
    standAt(1000);
    EXPECT_THAT(takeHeard(), ElementsAre("left g1: B", "entered g1: A"));
}

TEST_F(RegionMonitoringTest, StopsByTheIdentifier) {
    standAt(1000);
    ASSERT_TRUE(watch());
    location_->stopMonitoringRegion({{0, 0}, 1.0, "another"});
    EXPECT_TRUE(isWatched());
    location_->stopMonitoringRegion({{0, 0}, 1.0, "g1"});
    EXPECT_FALSE(isWatched());
    EXPECT_EQ(running(), 0U);
    EXPECT_FALSE(onDisk("monitoredRegions"));
    standAt(0);
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(RegionMonitoringTest, SurvivesARestartWithItsSide) {
    standAt(1000);
    ASSERT_TRUE(watch(0, nowInMilliseconds() + 3600'000.0));
    launch();
    EXPECT_EQ(running(), 1U);
    EXPECT_EQ(location_->getRegionWithIdentifier("g1"), (CLCircularRegion{kCenter, 200.0, "g1"}));
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), IsEmpty());

    location_.reset();
    standAt(0);
    launch();
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello")) << "while the process was not there";

    location_.reset();
    machine_.advanceBy(2h);
    launch();
    machine_.runUntilIdle();
    EXPECT_FALSE(isWatched()) << "its time ended while the process was not there";
    EXPECT_EQ(running(), 0U);
}

TEST_F(RegionMonitoringTest, LeavesOutWhatIsNoRegionInTheStore) {
    location_.reset();
    const Value good = Dictionary{{"id", "g1"}, {"center", Array{35.7, 51.4}}, {"r", 200}};
    home_.defaults->setObject("monitoredRegions", Array{1, good, Dictionary{{"id", "g2"}}, good});
    ASSERT_TRUE(home_.defaults->synchronize());
    launch();
    EXPECT_EQ(location_->monitoredRegions().size(), 1U);
    EXPECT_TRUE(isWatched());
    location_.reset();
    home_.defaults->setObject("monitoredRegions", "nonsense");
    ASSERT_TRUE(home_.defaults->synchronize());
    launch();
    EXPECT_THAT(location_->monitoredRegions(), IsEmpty());
}

TEST_F(RegionMonitoringTest, GivesTheOldestUpForTheHundredAndFirst) {
    const auto start = [&](int number) {
        return location_->startMonitoringRegion({kCenter, 200.0, formatted("g%d", number)}, 0, 0.0, {}, {});
    };
    for (int number = 1; number <= 100; ++number) {
        ASSERT_TRUE(start(number));
    }
    ASSERT_TRUE(start(1)) << "the same again takes no place";
    EXPECT_EQ(location_->monitoredRegions().size(), 100U);
    ASSERT_TRUE(start(101));
    EXPECT_EQ(location_->monitoredRegions().size(), 100U);
    EXPECT_FALSE(isWatched("g2")) << "g1 was begun anew, so g2 is the oldest";
    EXPECT_TRUE(isWatched("g1") && isWatched("g3") && isWatched("g101"));
    EXPECT_TRUE(machine_.logSink->contains("'g2' region monitoring was given up: there are 100 newer ones"));
}

TEST_F(RegionMonitoringTest, RefusesWhatIsNoRegionAndStartsNothing) {
    EXPECT_FALSE(location_->startMonitoringRegion({{91.0, 0.0}, 200.0, "g1"}, 0, 0.0, {}, {}));
    EXPECT_FALSE(location_->startMonitoringRegion({kCenter, -1.0, "g1"}, 0, 0.0, {}, {}));
    EXPECT_FALSE(isWatched());
    EXPECT_THAT(machine_.locationSource->startedFilters(), IsEmpty());
    EXPECT_FALSE(onDisk("monitoredRegions"));
}

TEST_F(RegionMonitoringTest, TellsOfSeveralRegionsInTheOrderOfTheirStart) {
    standAt(1000);
    for (const auto* identifier : {"b", "a", "c"}) {
        ASSERT_TRUE(location_->startMonitoringRegion({kCenter, 200.0, identifier}, 1, 0.0, "in", {}));
    }
    machine_.runUntilIdle();
    standAt(0);
    EXPECT_THAT(takeHeard(), ElementsAre("entered b: in", "entered a: in", "entered c: in"));
}

TEST_F(RegionMonitoringTest, MayBeStoppedOrEndedInsideTheReport) {
    standAt(1000);
    ASSERT_TRUE(watch());
    observer_.reaction = [&] { location_->stopMonitoringRegion({kCenter, 200.0, "g1"}); };
    standAt(0);
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello"));
    EXPECT_EQ(running(), 0U);

    standAt(1000);
    ASSERT_TRUE(watch());
    ASSERT_TRUE(location_->startMonitoringRegion({kCenter, 200.0, "g2"}, 0, 0.0, "in", {}));
    machine_.runUntilIdle();
    observer_.reaction = [&] { endClient(); };
    standAt(0);
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello")) << "nothing is told of a room that is gone";
}

}  // namespace
}  // namespace xel
