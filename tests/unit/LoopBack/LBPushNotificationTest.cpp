#include <memory>

#include <gtest/gtest.h>

#include "XelPushClient/LoopBack/LBPushNotification.h"
#include "XelPushClient/Testing/FakeApplication.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

class LBPushNotificationTest : public testing::Test {
protected:
    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    FakeApplication application_{runLoop_};
};

TEST_F(LBPushNotificationTest, CarriesThePayload) {
    const Dictionary payload{{"aps", Dictionary{{"alert", "hello"}}}};
    const auto notification =
        LBPushNotification::applicationDidReceiveRemoteNotification(application_, payload);
    ASSERT_TRUE(notification.has_value());
    EXPECT_EQ(notification->userInfo(), payload);
}

TEST_F(LBPushNotificationTest, IsMissingForAnEmptyPayload) {
    EXPECT_FALSE(LBPushNotification::applicationDidReceiveRemoteNotification(application_, {}).has_value());
}

TEST_F(LBPushNotificationTest, IsFoundInLaunchOptions) {
    const Dictionary payload{{"aps", Dictionary{{"alert", "hello"}}}};
    struct Case {
        const char* what;
        Dictionary options;
        bool isThere;
    };
    const Case cases[] = {
        {"nothing", {}, false},
        {"a location event", {{"UIApplicationLaunchOptionsLocationKey", true}}, false},
        {"a notification", {{"UIApplicationLaunchOptionsRemoteNotificationKey", payload}}, true},
        {"an empty one", {{"UIApplicationLaunchOptionsRemoteNotificationKey", Dictionary()}}, false},
        {"no dictionary", {{"UIApplicationLaunchOptionsRemoteNotificationKey", "hello"}}, false},
    };
    for (const auto& [what, options, isThere] : cases) {
        const auto notification =
            LBPushNotification::applicationDidFinishLaunchingWithOptions(application_, options);
        ASSERT_EQ(notification.has_value(), isThere) << what;
        EXPECT_TRUE(!isThere || notification->userInfo() == payload) << what;
    }
}

TEST_F(LBPushNotificationTest, ResetsTheBadge) {
    application_.setApplicationIconBadgeNumber(7);
    LBPushNotification::resetBadge(application_, 0);
    EXPECT_EQ(application_.applicationIconBadgeNumber(), 0);
    LBPushNotification::resetBadge(application_, 2);
    EXPECT_EQ(application_.applicationIconBadgeNumber(), 2);
}

}  // namespace
}  // namespace xel
