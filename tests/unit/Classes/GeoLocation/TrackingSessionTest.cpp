#include <limits>

#include "tests/unit/Classes/GeoLocation/GeoLocationTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class TrackingSessionTest : public GeoLocationTest {};

TEST_F(TrackingSessionTest, IsStoppedAtFirst) {
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kStopped);
    EXPECT_EQ(static_cast<int>(TrackingMeState::kStopped), 0);
    EXPECT_EQ(static_cast<int>(TrackingMeState::kExpired), 1);
    EXPECT_EQ(static_cast<int>(TrackingMeState::kTracking), 2);
}

TEST_F(TrackingSessionTest, ReportsPositionsThatAreTheDistanceApart) {
    standAt(0);
    ASSERT_TRUE(location_->trackMeUntil(3600.0, 50.0));
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kTracking);
    for (const double metres : {0.0, 30.0, 60.0, 90.0, 116.0}) {
        standAt(metres);
    }
    EXPECT_THAT(takeHeard(), ElementsAre("tracked 35.7000", "tracked 35.7005", "tracked 35.7010"));
}

TEST_F(TrackingSessionTest, KeepsItsDistanceWhileARegionWantsMore) {
    standAt(0);
    ASSERT_TRUE(location_->startMonitoringRegion({metresFromCenter(9000), 60.0, "g1"}, 0, 0.0, {}, {}));
    ASSERT_TRUE(location_->trackMeUntil(3600.0, 50.0));
    machine_.runUntilIdle();
    for (const double metres : {10.0, 20.0, 30.0, 40.0, 55.0}) {
        standAt(metres);
    }
    EXPECT_THAT(takeHeard(), ElementsAre("tracked 35.7000", "tracked 35.7005"));
}

TEST_F(TrackingSessionTest, ReportsEveryPositionWithoutADistance) {
    standAt(0);
    ASSERT_TRUE(location_->trackMeUntil(3600.0, 0.0));
    machine_.runUntilIdle();
    standAt(0);
    standAt(1);
    EXPECT_EQ(takeHeard().size(), 3U);
}

TEST_F(TrackingSessionTest, ReportsOnlyPositionsThatAreAccurateEnough) {
    struct Case {
        double byMeter;
        double accuracy;
        bool isReported;
    };
    const Case cases[] = {{0, 100, true},    {0, 101, false},  {500, 500, true},
                          {500, 501, false}, {500, -1, false}, {500, 0, false}};
    for (const auto& [byMeter, accuracy, isReported] : cases) {
        standAt(0, accuracy);
        ASSERT_TRUE(location_->trackMeUntil(3600.0, byMeter));
        machine_.runUntilIdle();
        EXPECT_EQ(!takeHeard().empty(), isReported) << byMeter << " m, accurate to " << accuracy << " m";
    }
}

TEST_F(TrackingSessionTest, IsNotHeldBackByAPositionThatItRefused) {
    machine_.locationSource->play(
        readTrack("0 35.700 51.4 5\n10 35.708 51.4 900\n20 35.705 51.4 5\n30 35.7049 51.4 5"));
    ASSERT_TRUE(location_->trackMeUntil(3600.0, 500.0));
    machine_.advanceBy(60s);
    EXPECT_THAT(takeHeard(), ElementsAre("tracked 35.7000", "tracked 35.7050"));
}

TEST_F(TrackingSessionTest, EndsAtItsTimeAndLetsTheSourceGo) {
    standAt(0);
    ASSERT_TRUE(location_->trackMeUntil(3600.0, 0.0));
    machine_.advanceBy(3599s);
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kTracking);
    EXPECT_EQ(running(), 1U);
    machine_.advanceBy(1s);
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kExpired);
    EXPECT_EQ(running(), 0U);
    (void)takeHeard();
    standAt(1000);
    EXPECT_THAT(takeHeard(), IsEmpty());
    location_->stopTracking();
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kStopped);
}

TEST_F(TrackingSessionTest, IsStoredInSecondsSince2001AndMetres) {
    machine_.clock->setDate(dateFromSecondsSince1970(978307200.0 + 1000.0));
    ASSERT_TRUE(location_->trackMeUntil(60.0, 25.5));
    EXPECT_EQ(onDisk("trackUserUntil"), Value(1060.0));
    EXPECT_EQ(onDisk("trackUserMeter"), Value(25.5));
    location_->stopTracking();
    EXPECT_FALSE(onDisk("trackUserUntil") || onDisk("trackUserMeter"));
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kStopped);
    EXPECT_EQ(running(), 0U);
}

TEST_F(TrackingSessionTest, WaitsAfterARestartUntilItIsResumed) {
    standAt(0);
    ASSERT_TRUE(location_->trackMeUntil(3600.0, 0.0));
    machine_.runUntilIdle();
    (void)takeHeard();
    launch();
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kStopped);
    EXPECT_EQ(running(), 0U);
    machine_.advanceBy(1h);
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kExpired);
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(TrackingSessionTest, BeginsAnewInPlaceOfTheOneBefore) {
    standAt(0);
    ASSERT_TRUE(location_->trackMeUntil(10.0, 0.0));
    machine_.runUntilIdle();
    ASSERT_TRUE(location_->trackMeUntil(3600.0, 1000.0));
    machine_.advanceBy(60s);
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kTracking);
    EXPECT_EQ(takeHeard().size(), 2U) << "each begins with a position";
}

TEST_F(TrackingSessionTest, RefusesTimesAndDistancesThatCannotBe) {
    constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
    constexpr double kEndless = std::numeric_limits<double>::infinity();
    const std::pair<double, double> refused[] = {
        {0.0, 10.0},         {-1.0, 10.0}, {kNotANumber, 10.0}, {kEndless, 10.0},
        {316224001.0, 10.0}, {60.0, -1.0}, {60.0, kNotANumber}, {60.0, kEndless}};
    for (const auto& [seconds, metres] : refused) {
        const auto begun = location_->trackMeUntil(seconds, metres);
        ASSERT_FALSE(begun) << seconds << " s by " << metres << " m";
        EXPECT_EQ(begun.error().code, static_cast<int>(LocationErrorCode::NotValid));
    }
    EXPECT_EQ(location_->trackingMeState(), TrackingMeState::kStopped);
    EXPECT_THAT(machine_.locationSource->startedFilters(), IsEmpty());
    EXPECT_TRUE(location_->trackMeUntil(316224000.0, 0.0));
}

}  // namespace
}  // namespace xel
