#include <memory>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Linux/Desktop/LinuxNotificationCenter.h"
#include "XelPushClient/Linux/System/SystemClock.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/RecordingLogSink.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Notes what it is asked, and answers with the options it was given, if any.
class AskedDelegate : public UNUserNotificationCenterDelegate {
public:
    void userNotificationCenterWillPresentNotification(
        UNUserNotificationCenter& /*center*/, const UNNotification& notification,
        std::function<void(std::uint32_t)> completion) override {
        asked.push_back(notification.requestIdentifier);
        if (options) {
            completion(*options);
        }
    }
    void userNotificationCenterDidReceiveNotificationResponse(UNUserNotificationCenter& /*center*/,
                                                              const UNNotificationResponse& /*response*/,
                                                              std::function<void()> /*done*/) override {}

    std::vector<std::string> asked;
    std::optional<std::uint32_t> options = 7;
};

/// The centre of a process that has no session bus.
class LinuxNotificationCenterTest : public ::testing::Test {
protected:
    std::optional<bool> grantFor(std::uint32_t options) {
        std::optional<bool> granted;
        center_.requestAuthorizationWithOptions(options,
                                                [&](bool isGranted, const std::optional<NSError>& error) {
                                                    granted = isGranted;
                                                    EXPECT_FALSE(error);
                                                });
        EXPECT_FALSE(granted) << "later, never inside the call";
        runLoop_->runUntilIdle();
        return granted;
    }
    static UNNotificationRequest request(std::optional<std::int64_t> badge = std::nullopt) {
        UNNotificationRequest request{"one", {}};
        request.content.title = "Title";
        request.content.badge = badge;
        return request;
    }
    /// How the request ended: "shown" or its error's domain.
    std::string outcomeOf(const UNNotificationRequest& request) {
        std::string outcome;
        center_.addNotificationRequest(request, [&](const std::optional<NSError>& error) {
            outcome = error ? error->domain : "taken";
            runLoop_->stop();
        });
        EXPECT_EQ(outcome, "");
        runLoop_->run();
        return outcome;
    }

    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<RecordingLogSink> logSink_ = std::make_shared<RecordingLogSink>();
    std::shared_ptr<LinuxApplication> application_ = std::make_shared<LinuxApplication>(
        LinuxApplication::Surroundings{runLoop_, std::make_shared<SystemClock>(), logSink_});
    LinuxNotificationCenter center_{{runLoop_, logSink_, application_,
                                     std::make_shared<DBusConnection>("", "test-session"),
                                     DesktopHost{"Shop", ""}}};
};

TEST_F(LinuxNotificationCenterTest, GrantsWhatHostAndUserAllow) {
    EXPECT_EQ(grantFor(7), true);
    application_->setAllowedNotificationTypes(UNNotificationOptionSound);
    EXPECT_EQ(grantFor(7), true);
    EXPECT_EQ(grantFor(UNNotificationOptionAlert), false);
    application_->setAllowedNotificationTypes(0);
    EXPECT_EQ(grantFor(7), false);
    center_.requestAuthorizationWithOptions(7, nullptr);
    EXPECT_NO_THROW(runLoop_->runUntilIdle());
}

TEST_F(LinuxNotificationCenterTest, KeepsTheNewestDelegateWeakly) {
    const auto first = std::make_shared<AskedDelegate>();
    auto second = std::make_shared<AskedDelegate>();
    center_.setDelegate(first);
    center_.setDelegate(second);
    EXPECT_EQ(center_.delegate(), second);
    second.reset();
    EXPECT_EQ(center_.delegate(), nullptr);
}

TEST_F(LinuxNotificationCenterTest, TellsTheLogOnceThatNothingIsShown) {
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(outcomeOf(request()), "UNErrorDomain");
    }
    EXPECT_THAT(logSink_->lines(),
                ElementsAre(HasSubstr("Notifications are not shown: Error Domain=DBusError")));
}

TEST_F(LinuxNotificationCenterTest, AsksTheDelegateWhileTheApplicationIsInFront) {
    const auto delegate = std::make_shared<AskedDelegate>();
    center_.setDelegate(delegate);
    EXPECT_EQ(outcomeOf(request()), "UNErrorDomain") << "it was sent";
    EXPECT_THAT(delegate->asked, ElementsAre("one"));
    delegate->options = UNNotificationOptionSound;
    EXPECT_EQ(outcomeOf(request()), "taken") << "without an alert nothing is sent";
    delegate->options.reset();
    bool isCalled = false;
    center_.addNotificationRequest(request(), [&](const auto&) { isCalled = true; });
    runLoop_->runUntilIdle();
    EXPECT_FALSE(isCalled) << "the delegate has not answered";
    application_->enterBackground();
    EXPECT_EQ(outcomeOf(request()), "UNErrorDomain");
    EXPECT_EQ(delegate->asked.size(), 3U) << "in the background nobody is asked";
}

TEST_F(LinuxNotificationCenterTest, LeavesOutWhatIsNotAllowed) {
    struct Row {
        std::uint32_t allowed;
        std::string outcome;
        std::int64_t badge;
    };
    const std::vector<Row> table = {
        {7, "UNErrorDomain", 5},
        {UNNotificationOptionAlert, "UNErrorDomain", 1},
        {UNNotificationOptionBadge, "taken", 5},
        {0, "taken", 1},
    };
    for (const auto& row : table) {
        application_->setApplicationIconBadgeNumber(1);
        application_->setAllowedNotificationTypes(row.allowed);
        EXPECT_EQ(outcomeOf(request(5)), row.outcome) << row.allowed;
        EXPECT_EQ(application_->applicationIconBadgeNumber(), row.badge) << row.allowed;
    }
}

TEST_F(LinuxNotificationCenterTest, SetsTheBadgeThatTheContentHas) {
    application_->setApplicationIconBadgeNumber(4);
    (void)outcomeOf(request());
    EXPECT_EQ(application_->applicationIconBadgeNumber(), 4);
    (void)outcomeOf(request(0));
    EXPECT_EQ(application_->applicationIconBadgeNumber(), 0);
}

}  // namespace
}  // namespace xel
