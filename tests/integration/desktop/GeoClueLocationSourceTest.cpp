#include <chrono>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Classes/GeoLocation/GeoLocation.h"
#include "XelPushClient/Linux/Location/GeoClueLocationSource.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/System/SystemClock.h"
#include "XelPushClient/Testing/InMemoryUserDefaults.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/contract/Location/LocationSourceContract.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/integration/desktop/support/RealGeoClue.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;
using test::PrivateBus;
using test::RealGeoClue;

class GeoClueSubject {
public:
    GeoClueSubject() : reason_(RealGeoClue::whyMissing()) {
        if (reason_.empty()) {
            service_ = std::make_unique<RealGeoClue>();
            source_ = std::make_unique<GeoClueLocationSource>(
                loop_, GeoClueOptions{service_->busAddress(), RealGeoClue::kAllowed});
        }
    }

    const char* whyNot() { return reason_.empty() ? nullptr : reason_.c_str(); }
    LocationSource& source() { return *source_; }
    NSRunLoop& runLoop() { return *loop_; }
    const Clock& clock() { return clock_; }
    bool runUntil(const std::function<bool()>& condition) { return driveUntil(*loop_, condition); }
    void runForAWhile() {
        loop_->scheduleTimer(1s, [this] { loop_->stop(); });
        loop_->run();
    }
    void moveTo(double latitude, double longitude) {
        service_->receiver().moveTo({.coordinate = {latitude, longitude}});
    }
    void endService() { service_->stop(); }

private:
    std::string reason_;
    std::unique_ptr<RealGeoClue> service_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    SystemClock clock_;
    std::unique_ptr<GeoClueLocationSource> source_;
};

class GeoClueLocationSourceTest : public ::testing::Test {
protected:
    using Report = std::optional<Result<CLLocation>>;

    void SetUp() override {
        if (const auto reason = RealGeoClue::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << "NOT TESTED: " << reason;
        }
    }

    std::unique_ptr<GeoClueLocationSource> sourceOn(const std::string& busAddress,
                                                    const std::string& application = RealGeoClue::kAllowed,
                                                    std::chrono::milliseconds patience = 25s) {
        return std::make_unique<GeoClueLocationSource>(loop_,
                                                       GeoClueOptions{busAddress, application, patience});
    }
    /// The first report of a start.
    Report firstReport(LocationSource& source) {
        Report report;
        const auto updates = source.startUpdates(0.0, [&](const Result<CLLocation>& location) {
            if (!report) {
                report = location;
            }
        });
        (void)driveUntil(*loop_, [&] { return report.has_value(); });
        return report;
    }
    /// The code of the error that a start is answered with, or 0.
    std::int64_t errorOf(LocationSource& source) {
        const auto report = firstReport(source);
        if (!report || *report) {
            return 0;
        }
        lastDescription_ = report->error().localizedDescription();
        return report->error().code;
    }
    static std::int64_t codeOf(LocationErrorCode code) { return static_cast<std::int64_t>(code); }

    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::string lastDescription_;
};

TEST_F(GeoClueLocationSourceTest, TellsAccuracyAndSpeedAsFarAsTheyAreKnown) {
    RealGeoClue service;
    const auto source = sourceOn(service.busAddress());
    service.receiver().moveTo({.coordinate = {35.7, 51.4}});
    auto report = firstReport(*source);
    ASSERT_TRUE(report && *report) << service.log();
    EXPECT_EQ(report->value().horizontalAccuracy, 5.0) << "GeoClue says 0";
    EXPECT_EQ(report->value().speed, -1.0) << "GeoClue says -1";

    service.receiver().moveTo({.coordinate = {35.7, 51.4}, .dilution = 15.0, .knots = 10.0});
    std::vector<CLLocation> fixes;
    const auto updates = source->startUpdates(0.0, [&](const Result<CLLocation>& location) {
        if (location) {
            fixes.push_back(location.value());
        }
    });
    ASSERT_TRUE(driveUntil(*loop_, [&] { return !fixes.empty() && fixes.back().speed >= 0.0; }));
    EXPECT_GT(fixes.back().horizontalAccuracy, 5.0);
}

TEST_F(GeoClueLocationSourceTest, SaysThatNoAgentLetsItIn) {
    RealGeoClue service(RealGeoClue::Agent::IsMissing);
    service.receiver().moveTo({.coordinate = {35.7, 51.4}});
    const auto source = sourceOn(service.busAddress(), RealGeoClue::kAllowed, 1s);
    EXPECT_EQ(errorOf(*source), codeOf(LocationErrorCode::TimedOut)) << service.log();
    EXPECT_NE(lastDescription_.find("within 1 s: no location agent runs for this user"), std::string::npos)
        << lastDescription_;
    service.startAgent();
    const auto report = firstReport(*source);
    EXPECT_TRUE(report && *report) << "once there is an agent, the next start is let in";
}

TEST_F(GeoClueLocationSourceTest, SaysThatItIsDenied) {
    RealGeoClue service;
    const auto source = sourceOn(service.busAddress(), RealGeoClue::kDenied);
    EXPECT_EQ(errorOf(*source), codeOf(LocationErrorCode::Denied)) << service.log();
}

TEST_F(GeoClueLocationSourceTest, SaysThatThereIsNoService) {
    const PrivateBus bus;
    for (const std::string& address : {bus.address(), std::string(), std::string("unix:path=/nonexistent")}) {
        const auto source = sourceOn(address);
        EXPECT_EQ(errorOf(*source), codeOf(LocationErrorCode::NoService)) << address;
        EXPECT_EQ(lastDescription_.find("no location service on this machine"), 0U) << lastDescription_;
    }
}

TEST_F(GeoClueLocationSourceTest, EndsWhenTheBusGoes) {
    RealGeoClue service;
    const auto source = sourceOn(service.busAddress());
    service.receiver().moveTo({.coordinate = {35.7, 51.4}});
    std::vector<bool> reports;
    const auto updates = source->startUpdates(
        0.0, [&](const Result<CLLocation>& location) { reports.push_back(location.isOk()); });
    ASSERT_TRUE(driveUntil(*loop_, [&] { return !reports.empty(); }));
    service.bus().stop();
    EXPECT_TRUE(driveUntil(*loop_, [&] { return !reports.back(); }));
}

TEST_F(GeoClueLocationSourceTest, LetsGoOfTheServiceWhenTheUpdatesAreDropped) {
    RealGeoClue service;
    const auto source = sourceOn(service.busAddress());
    service.receiver().moveTo({.coordinate = {35.7, 51.4}});
    ASSERT_TRUE(firstReport(*source));
    EXPECT_TRUE(test::eventually([&] {
        return service.log().find("Number of connected clients: 0") != std::string::npos;
    })) << "the receiver is not kept busy";
    {
        // Dropped before GeoClue has answered at all.
        const auto updates = source->startUpdates(0.0, [](const auto&) { ADD_FAILURE(); });
    }
    EXPECT_TRUE(firstReport(*source)) << "the bus goes on";
}

/// The location room on the real service.
TEST_F(GeoClueLocationSourceTest, CarriesARoomThatTracksAndWatches) {
    class Observer final : public GeoLocationObserver {
    public:
        void regionWasCrossed(const CLCircularRegion& region, RegionCrossing crossing,
                              const Value& /*message*/) override {
            heard.push_back((crossing == RegionCrossing::Entered ? "entered " : "left ") + region.identifier);
        }
        void positionWasTracked(const CLLocation& location) override { tracked.push_back(location); }

        std::vector<std::string> heard;
        std::vector<CLLocation> tracked;
    };

    RealGeoClue service;
    const SystemClock clock;
    const auto source = sourceOn(service.busAddress());
    const auto defaults = InMemoryUserDefaults::open(std::make_shared<FakeDisk>()).value();
    RecordingLogSink sink;
    const LogOutput log(*defaults, sink);
    Observer observer;
    ClientLife life;
    const auto client = std::make_shared<GeoLocation>(
        GeoLocation::Surroundings{life, loop_, clock, *source, *defaults, log, observer});
    life.begin(client);
    GeoLocation& room = *client;

    service.receiver().moveTo({.coordinate = {35.71, 51.4}});
    std::optional<Result<CLLocation>> single;
    room.requestSingleLocation([&](const auto& location) { single = location; });
    ASSERT_TRUE(driveUntil(*loop_, [&] { return single.has_value(); })) << service.log();
    ASSERT_TRUE(*single) << describeError(single->error());
    EXPECT_NEAR(single->value().coordinate.latitude, 35.71, 1e-6);

    ASSERT_TRUE(room.startMonitoringRegion({{35.7, 51.4}, 200.0, "g1"}, 0, 0.0, {}, {}));
    ASSERT_TRUE(room.trackMeUntil(600.0, 300.0));
    ASSERT_TRUE(driveUntil(*loop_, [&] { return observer.tracked.size() == 1; }));
    service.receiver().moveTo({.coordinate = {35.7, 51.4}});
    ASSERT_TRUE(driveUntil(*loop_, [&] { return observer.tracked.size() == 2; })) << service.log();
    service.receiver().moveTo({.coordinate = {35.69, 51.4}});
    ASSERT_TRUE(driveUntil(*loop_, [&] { return observer.tracked.size() == 3; }));
    EXPECT_EQ(observer.heard, (std::vector<std::string>{"entered g1", "left g1"}));
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(GeoClue, LocationSourceContract, GeoClueSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(GeoClue, LocatedSourceContract, GeoClueSubject);

}  // namespace xel::contract
