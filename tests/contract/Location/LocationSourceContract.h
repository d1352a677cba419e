#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel::contract {

/// What the tests of location sources stand on. A subject is default constructible and has
/// - `const char* whyNot()`: why the source cannot be tried here, or null;
/// - `LocationSource& source()`, `NSRunLoop& runLoop()`, `const Clock& clock()`;
/// - `bool runUntil(const std::function<bool()>& condition)`: drives the loop; false: it did not come true;
/// - `void runForAWhile()`: drives the loop for as long as a late report could take to come;
/// - `void moveTo(double latitude, double longitude)`: the device is there from now on;
/// - `void endService()`: from now on the service is gone.
template <class Subject>
class LocationSourceTest : public ::testing::Test {
protected:
    using Reports = std::vector<Result<CLLocation>>;

    void SetUp() override {
        if (const char* reason = subject_.whyNot()) {
            GTEST_SKIP() << "NOT TESTED: " << reason;
        }
    }

    std::unique_ptr<LocationUpdates> startInto(Reports& reports, double distanceFilter = 0.0) {
        return subject_.source().startUpdates(distanceFilter, [&](const Result<CLLocation>& location) {
            EXPECT_TRUE(subject_.runLoop().isCurrent());
            reports.push_back(location);
        });
    }
    bool runUntilReports(const Reports& reports, std::size_t count = 1) {
        return subject_.runUntil([&] { return reports.size() >= count; });
    }
    /// Runs until a fix within 50 m of the place came last.
    bool runUntilAt(const Reports& reports, double latitude, double longitude) {
        return subject_.runUntil([&] {
            return !reports.empty() && reports.back() &&
                   greatCircleDistance(reports.back().value().coordinate, {latitude, longitude}) < 50.0;
        });
    }

    /// What a start brings that finds no service.
    void expectOneRefusal() {
        Reports reports;
        const auto updates = startInto(reports);
        ASSERT_TRUE(runUntilReports(reports));
        subject_.runForAWhile();
        ASSERT_EQ(reports.size(), 1U);
        ASSERT_FALSE(reports.front());
        EXPECT_EQ(reports.front().error().domain, kLocationErrorDomain);
        EXPECT_EQ(reports.front().error().code, static_cast<int>(LocationErrorCode::NoService));
    }

    Subject subject_;
};

/// What every location source owes, also one whose service is not there.
template <class Subject>
class LocationSourceContract : public LocationSourceTest<Subject> {};

TYPED_TEST_SUITE_P(LocationSourceContract);

TYPED_TEST_P(LocationSourceContract, NeverCallsTheHandlerInsideTheStart) {
    typename TestFixture::Reports reports;
    this->subject_.moveTo(35.7, 51.4);
    const auto updates = this->startInto(reports);
    ASSERT_NE(updates, nullptr);
    EXPECT_TRUE(reports.empty());
    EXPECT_TRUE(this->runUntilReports(reports)) << "a fix, or an error, comes";
}

TYPED_TEST_P(LocationSourceContract, IsSilentOnceTheUpdatesAreDropped) {
    typename TestFixture::Reports reports;
    typename TestFixture::Reports witness;
    this->subject_.moveTo(35.7, 51.4);
    auto updates = this->startInto(reports);
    const auto others = this->startInto(witness);
    updates.reset();
    ASSERT_TRUE(this->runUntilReports(witness)) << "a start behind the dropped one has been answered";
    this->subject_.runForAWhile();
    EXPECT_TRUE(reports.empty()) << "what was under way does not come either";
}

TYPED_TEST_P(LocationSourceContract, MayBeDroppedAndStartedAnewInItsHandler) {
    this->subject_.moveTo(35.7, 51.4);
    std::unique_ptr<LocationUpdates> updates;
    int first = 0;
    int second = 0;
    updates = this->subject_.source().startUpdates(0.0, [&](const Result<CLLocation>&) {
        ++first;
        updates = this->subject_.source().startUpdates(0.0, [&](const Result<CLLocation>&) {
            ++second;
            updates.reset();
        });
    });
    EXPECT_TRUE(this->subject_.runUntil([&] { return second > 0; }));
    this->subject_.moveTo(35.8, 51.4);
    this->subject_.runForAWhile();
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
}

TYPED_TEST_P(LocationSourceContract, AnswersAStartWithOneErrorOnceTheServiceIsGone) {
    this->subject_.endService();
    this->expectOneRefusal();
}

REGISTER_TYPED_TEST_SUITE_P(LocationSourceContract, NeverCallsTheHandlerInsideTheStart,
                            IsSilentOnceTheUpdatesAreDropped, MayBeDroppedAndStartedAnewInItsHandler,
                            AnswersAStartWithOneErrorOnceTheServiceIsGone);

/// What a source owes whose service knows where the device is.
template <class Subject>
class LocatedSourceContract : public LocationSourceTest<Subject> {};

TYPED_TEST_SUITE_P(LocatedSourceContract);

TYPED_TEST_P(LocatedSourceContract, ReportsWhereTheDeviceIs) {
    typename TestFixture::Reports reports;
    this->subject_.moveTo(35.7, 51.4);
    const auto updates = this->startInto(reports);
    ASSERT_TRUE(this->runUntilAt(reports, 35.7, 51.4));
    const auto& fix = reports.back().value();
    EXPECT_TRUE(fix.horizontalAccuracy > 0.0 || fix.horizontalAccuracy == -1.0) << fix.horizontalAccuracy;
    EXPECT_TRUE(fix.speed >= 0.0 || fix.speed == -1.0) << fix.speed;
    EXPECT_NEAR(secondsSince1970(fix.timestamp), secondsSince1970(this->subject_.clock().now()), 60.0);
}

TYPED_TEST_P(LocatedSourceContract, BringsEachStartAFirstFix) {
    typename TestFixture::Reports first;
    typename TestFixture::Reports second;
    this->subject_.moveTo(35.7, 51.4);
    auto firstUpdates = this->startInto(first, 100.0);
    ASSERT_TRUE(this->runUntilReports(first));
    const auto secondUpdates = this->startInto(second, 1000.0);
    EXPECT_TRUE(this->runUntilReports(second));
    firstUpdates.reset();
    second.clear();
    this->subject_.moveTo(35.8, 51.4);
    EXPECT_TRUE(this->runUntilAt(second, 35.8, 51.4)) << "the first ones' end does not disturb the second";
}

TYPED_TEST_P(LocatedSourceContract, FollowsTheDevice) {
    typename TestFixture::Reports reports;
    this->subject_.moveTo(-33.86, 151.21);
    const auto updates = this->startInto(reports, 50.0);
    ASSERT_TRUE(this->runUntilAt(reports, -33.86, 151.21));
    for (const double latitude : {-33.87, -33.88, -33.86}) {
        this->subject_.moveTo(latitude, 151.21);
        EXPECT_TRUE(this->runUntilAt(reports, latitude, 151.21)) << latitude;
    }
}

TYPED_TEST_P(LocatedSourceContract, SaysNothingOfAMoveOnceTheUpdatesAreDropped) {
    typename TestFixture::Reports reports;
    typename TestFixture::Reports witness;
    this->subject_.moveTo(35.7, 51.4);
    auto updates = this->startInto(reports);
    const auto others = this->startInto(witness);
    ASSERT_TRUE(this->runUntilReports(reports));
    this->subject_.moveTo(35.8, 51.4);
    updates.reset();
    reports.clear();
    ASSERT_TRUE(this->runUntilAt(witness, 35.8, 51.4)) << "others have heard of the move";
    EXPECT_TRUE(reports.empty());
}

TYPED_TEST_P(LocatedSourceContract, EndsWithOneErrorWhenTheServiceIsGone) {
    typename TestFixture::Reports reports;
    this->subject_.moveTo(35.7, 51.4);
    const auto updates = this->startInto(reports);
    ASSERT_TRUE(this->runUntilReports(reports));
    this->subject_.endService();
    ASSERT_TRUE(this->subject_.runUntil([&] { return !reports.back().isOk(); }));
    EXPECT_EQ(reports.back().error().domain, kLocationErrorDomain);
    EXPECT_FALSE(reports.back().error().localizedDescription().empty());
    const auto count = reports.size();
    this->subject_.moveTo(35.8, 51.4);
    this->subject_.runForAWhile();
    EXPECT_EQ(reports.size(), count) << "an error ends the updates";
    this->expectOneRefusal();
}

REGISTER_TYPED_TEST_SUITE_P(LocatedSourceContract, ReportsWhereTheDeviceIs, BringsEachStartAFirstFix,
                            FollowsTheDevice, SaysNothingOfAMoveOnceTheUpdatesAreDropped,
                            EndsWithOneErrorWhenTheServiceIsGone);

}  // namespace xel::contract
