#include <memory>
#include <optional>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/LinuxNotificationCenter.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/RecordingLogSink.h"

namespace xel {
namespace {

TEST(LinuxNotificationCenter, GrantsEveryAuthorizationLater) {
    const auto runLoop = std::make_shared<FakeRunLoop>();
    LinuxNotificationCenter center(runLoop, std::make_shared<RecordingLogSink>());
    std::optional<bool> granted;
    std::optional<NSError> error = makeError("x", 1, "x");
    center.requestAuthorizationWithOptions(7, [&](bool isGranted, const std::optional<NSError>& failure) {
        granted = isGranted;
        error = failure;
    });
    EXPECT_EQ(granted, std::nullopt);
    runLoop->runUntilIdle();
    EXPECT_EQ(granted, true);
    EXPECT_EQ(error, std::nullopt);
}

TEST(LinuxNotificationCenter, NeedsNoCompletion) {
    const auto runLoop = std::make_shared<FakeRunLoop>();
    LinuxNotificationCenter center(runLoop, std::make_shared<RecordingLogSink>());
    center.requestAuthorizationWithOptions(7, nullptr);
    EXPECT_NO_THROW(runLoop->runUntilIdle());
}

class SilentDelegate : public UNUserNotificationCenterDelegate {
public:
    void userNotificationCenterWillPresentNotification(UNUserNotificationCenter& /*center*/,
                                                       const UNNotification& /*notification*/,
                                                       std::function<void(std::uint32_t)> /*done*/) override {
    }
    void userNotificationCenterDidReceiveNotificationResponse(UNUserNotificationCenter& /*center*/,
                                                              const UNNotificationResponse& /*response*/,
                                                              std::function<void()> /*done*/) override {}
};

TEST(LinuxNotificationCenter, KeepsTheNewestDelegateWeakly) {
    LinuxNotificationCenter center(std::make_shared<FakeRunLoop>(), std::make_shared<RecordingLogSink>());
    const auto first = std::make_shared<SilentDelegate>();
    auto second = std::make_shared<SilentDelegate>();
    center.setDelegate(first);
    center.setDelegate(second);
    EXPECT_EQ(center.delegate(), second);
    second.reset();
    EXPECT_EQ(center.delegate(), nullptr);
}

}  // namespace
}  // namespace xel
