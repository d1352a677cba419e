#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"

namespace xel {
namespace {

TEST(PushClientConstants, KeepTheCodesThatHostsCompare) {
    EXPECT_EQ(kPushClientNotInitializedErrorCode, -5001);
    EXPECT_EQ(kPushClientParameterNotValidErrorCode, -5002);
    EXPECT_EQ(kPushClientFailRegisterApplicationErrorCode, -5009);
    EXPECT_EQ(kPushClientFailRegisterUserErrorCode, -5010);
    EXPECT_EQ(kPushClientServerReachabilityErrorCode, -5011);
    EXPECT_EQ(kPushClientServerConnectionErrorCode, -5012);
    EXPECT_EQ(kPushClientFailVerficationErrorCode, -5013);
    EXPECT_EQ(kPushClientFailVerifyUserCodeErrorCode, 5014);
    EXPECT_EQ(kPushClientNoInternetConnectionErrorCode, -5030);
    EXPECT_EQ(kPushClientErrorDomain, "PushClientErrorDomain");
    EXPECT_EQ(kInvalidParameterErrorDomain, "InvalidParameter");
    EXPECT_EQ(PUSH_CLIENT_VERSION_STR, "1.16.1");
}

TEST(PushClientConstants, KeepTheNotificationNamesThatHostsObserve) {
    EXPECT_EQ(PushClientDidReceivedMessageNotification, "PushClientDidReceivedMessageNotification");
    EXPECT_EQ(PushClientDidChangeServerReachabilityNotification,
              "PushClientDidChangeServerReachabilityNotification");
    EXPECT_EQ(PushClientDidRegisterUserNotification, "PushClientDidRegisterUserNotification");
    EXPECT_EQ(PushClientDidFailRegisterUserNotification, "PushClientDidFailRegisterUserNotification");
    EXPECT_EQ(PushClientDidChangeServerConnectionStateNotification,
              "PushClientDidChangeServerConnectionStateNotification");
    EXPECT_EQ(PushClientDidSentVerificationCodeNotification, "PushClientDidSentVerificationCodeNotification");
    EXPECT_EQ(PushClientDidFailSentVerificationCodeNotification,
              "PushClientDidFailSentVerificationCodeNotification");
    EXPECT_EQ(PushClientDidVerifyUserCodeNotification, "PushClientDidVerifyUserCodeNotification");
    EXPECT_EQ(PushClientDidFailInVerifyUserCodeNotification, "PushClientDidFailInVerifyUserCodeNotification");
    EXPECT_EQ(PushClientDidDeliveredMessageNotification, "PushClientDidDeliveredMessageNotification");
    EXPECT_EQ(PushClientDetectAppNewInstallNotification, "PushClientDetectAppNewInstallNotification");
    EXPECT_EQ(PushClientDetectAppWasLaunchedNotification, "PushClientDetectAppWasLaunchedNotification");
    EXPECT_EQ(PushClientDidChangedInstallationIdNotification,
              "PushClientDidChangedInstallationIdNotification");
}

TEST(PersistedKeys, KeepTheSpellingsThatEarlierVersionsWrote) {
    EXPECT_EQ(kDeviceIdKey, "PushClientDeviceId");
    EXPECT_EQ(kUserIdKey, "userId");
    EXPECT_EQ(kClientVersionKey, "clientVersion");
    EXPECT_EQ(kEnableLocationOnLaunchKey, "enableLocationOnLanuch");
    EXPECT_EQ(kLocationOnLaunchDictionaryKey, "onLaunchDic");
    EXPECT_EQ(kTrackUserUntilKey, "trackUserUntil");
    EXPECT_EQ(kTrackUserMeterKey, "trackUserMeter");
    EXPECT_EQ(kMonitoredRegionsKey, "monitoredRegions");
    EXPECT_EQ(kEnableLogKey, "enableTavrinLogInDebuggingKEY");
    EXPECT_EQ(kLaunchCountKey, "AppLaunchCount");
    EXPECT_EQ(kLaunchTimeKey, "AppLaunchTime");
    EXPECT_EQ(kSubscribedTopicsKey, "subscribedTopics");
    EXPECT_EQ(kNotificationSettingsKey, "notificationSettings");
    EXPECT_EQ(kUserChannelsKey, "userChannels");
    EXPECT_EQ(kSubscribedUserChannelsKey, "subscribedUserChannels");
    EXPECT_EQ(kMessageIdsKey, "messageIds");
}

}  // namespace
}  // namespace xel
