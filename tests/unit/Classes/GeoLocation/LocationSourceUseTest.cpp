#include "tests/unit/Classes/GeoLocation/GeoLocationTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// When the machine's location source runs, and how often it is asked to report.
class LocationSourceUseTest : public GeoLocationTest {
protected:
    const std::vector<double>& filters() { return machine_.locationSource->startedFilters(); }
    bool watchCircle(double radius, std::string identifier) {
        return location_->startMonitoringRegion({kCenter, radius, std::move(identifier)}, 0, 0.0, {}, {})
            .isOk();
    }
};

TEST_F(LocationSourceUseTest, RunsOnlyWhileSomethingIsWanted) {
    EXPECT_THAT(filters(), IsEmpty());
    EXPECT_EQ(machine_.runLoop->scheduledTimerCount(), 0U);
    ASSERT_TRUE(watch());
    EXPECT_EQ(running(), 1U);
    ASSERT_TRUE(location_->trackMeUntil(60.0, 10.0));
    location_->stopMonitoringRegion({kCenter, 200.0, "g1"});
    EXPECT_EQ(running(), 1U);
    location_->requestSingleLocation([](const auto&) {});
    location_->stopTracking();
    EXPECT_EQ(running(), 1U);
    standAt(0);
    EXPECT_EQ(running(), 0U);
    EXPECT_EQ(machine_.runLoop->scheduledTimerCount(), 0U);
}

TEST_F(LocationSourceUseTest, AsksForWhatTheMostDemandingNeeds) {
    standAt(0);
    ASSERT_TRUE(watchCircle(500.0, "middle"));
    ASSERT_TRUE(watchCircle(5000.0, "large"));
    ASSERT_TRUE(watchCircle(20.0, "small"));
    location_->stopMonitoringRegion({{}, 0.0, "small"});
    location_->stopMonitoringRegion({{}, 0.0, "middle"});
    ASSERT_TRUE(location_->trackMeUntil(60.0, 30.0));
    location_->requestSingleLocation([](const auto&) {});
    machine_.runUntilIdle();
    machine_.advanceBy(60s);
    EXPECT_THAT(filters(), ElementsAre(50.0, 50.0, 5.0, 50.0, 100.0, 15.0, 0.0, 15.0, 100.0));
    EXPECT_EQ(running(), 1U);
}

TEST_F(LocationSourceUseTest, StartsAnewForWhatIsNewSoThatItHasAFirstFix) {
    standAt(0);
    ASSERT_TRUE(watchCircle(200.0, "a"));
    machine_.runUntilIdle();
    ASSERT_TRUE(watchCircle(200.0, "b"));
    machine_.runUntilIdle();
    ASSERT_TRUE(location_->startMonitoringRegion({kCenter, 200.0, "c"}, 0, 0.0, {}, "left"));
    machine_.runUntilIdle();
    standAt(1000);
    EXPECT_EQ(takeHeard().size(), 3U) << "each knew its side, though the device stood still";
}

TEST_F(LocationSourceUseTest, TriesAgainAfterFiveMinutesWhenTheSourceFails) {
    machine_.locationSource->fail(makeLocationError(LocationErrorCode::NoService, "no service"));
    ASSERT_TRUE(watch());
    EXPECT_EQ(filters().size(), 1U);
    EXPECT_EQ(running(), 0U);
    EXPECT_TRUE(
        machine_.logSink->contains("location updates failed: Error Domain=LocationErrorDomain Code=1"));
    machine_.advanceBy(299s);
    EXPECT_EQ(filters().size(), 1U);
    machine_.advanceBy(1s);
    EXPECT_EQ(filters().size(), 2U);
    machine_.locationSource->work();
    standAt(1000);
    machine_.advanceBy(5min);
    EXPECT_EQ(filters().size(), 3U);
    standAt(0);
    EXPECT_THAT(takeHeard(), ElementsAre("entered g1: hello"));
    machine_.advanceBy(1h);
    EXPECT_EQ(filters().size(), 3U);
}

TEST_F(LocationSourceUseTest, DoesNotTryAgainForWhatWasStoppedMeanwhile) {
    machine_.locationSource->fail(makeLocationError(LocationErrorCode::NoService, "no service"));
    ASSERT_TRUE(watch());
    location_->stopMonitoringRegion({kCenter, 200.0, "g1"});
    EXPECT_EQ(machine_.runLoop->scheduledTimerCount(), 0U);
    machine_.advanceBy(1h);
    EXPECT_EQ(filters().size(), 1U);
}

TEST_F(LocationSourceUseTest, TriesAtOnceForWhatIsNew) {
    machine_.locationSource->fail(makeLocationError(LocationErrorCode::NoService, "no service"));
    ASSERT_TRUE(watch());
    machine_.locationSource->work();
    machine_.locationSource->standAt(kCenter);
    bool isAnswered = false;
    location_->requestSingleLocation([&](const auto& location) { isAnswered = location.isOk(); });
    machine_.runUntilIdle();
    EXPECT_TRUE(isAnswered);
    EXPECT_EQ(running(), 1U) << "the region goes on with it";
}

TEST_F(LocationSourceUseTest, LeavesNothingBehind) {
    ASSERT_TRUE(watch(0, nowInMilliseconds() + 1000.0));
    ASSERT_TRUE(location_->trackMeUntil(60.0, 10.0));
    location_->requestSingleLocation([](const auto&) { ADD_FAILURE() << "nobody is there to hear it"; });
    machine_.locationSource->standAt(kCenter);
    location_.reset();
    EXPECT_EQ(running(), 0U);
    EXPECT_EQ(machine_.runLoop->scheduledTimerCount(), 0U);
    machine_.advanceBy(1h);
}

}  // namespace
}  // namespace xel
