#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Headless/AbsentDesktop.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

class AbsentDesktopTest : public ::testing::Test {
protected:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
};

TEST_F(AbsentDesktopTest, GrantsNothingLater) {
    AbsentNotificationCenter center(loop_);
    std::optional<bool> granted;
    center.requestAuthorizationWithOptions(UNNotificationOptionAlert,
                                           [&](bool isGranted, const std::optional<NSError>& error) {
                                               granted = isGranted;
                                               EXPECT_FALSE(error);
                                           });
    EXPECT_EQ(granted, std::nullopt);
    loop_->runUntilIdle();
    EXPECT_EQ(granted, false);
}

TEST_F(AbsentDesktopTest, FailsEachRequestLater) {
    AbsentNotificationCenter center(loop_);
    std::optional<NSError> told;
    center.addNotificationRequest({"one", {}}, [&](const std::optional<NSError>& error) { told = error; });
    center.addNotificationRequest({"two", {}}, nullptr);
    EXPECT_FALSE(told);
    loop_->runUntilIdle();
    ASSERT_TRUE(told);
    EXPECT_EQ(told->domain, UNErrorDomain);
    EXPECT_EQ(told->code, static_cast<std::int64_t>(UNErrorCode::NotificationNotDelivered));
}

TEST_F(AbsentDesktopTest, MakesAttachmentsOfFiles) {
    AbsentNotificationCenter center(loop_);
    EXPECT_TRUE(center.attachmentWithIdentifier("picture", "/proc/self/exe").isOk());
    EXPECT_FALSE(center.attachmentWithIdentifier("picture", "/nonexistent").isOk());
}

TEST_F(AbsentDesktopTest, EndsEachStartOfLocationUpdatesUnlessTheyWereDropped) {
    AbsentLocationSource source(loop_);
    std::vector<std::int64_t> codes;
    const auto tell = [&](const Result<CLLocation>& location) { codes.push_back(location.error().code); };
    const auto held = source.startUpdates(0, tell);
    source.startUpdates(0, tell).reset();
    EXPECT_TRUE(codes.empty());
    loop_->runUntilIdle();
    EXPECT_EQ(codes, std::vector{static_cast<std::int64_t>(LocationErrorCode::NoService)});
}

TEST_F(AbsentDesktopTest, LetsAHandlerDropItsUpdates) {
    AbsentLocationSource source(loop_);
    std::unique_ptr<LocationUpdates> updates;
    int calls = 0;
    updates = source.startUpdates(0, [&](const Result<CLLocation>&) {
        updates.reset();
        ++calls;
    });
    loop_->runUntilIdle();
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace xel
