#include "XelPushClient/LoopBack/LBPushNotification.h"

#include "XelPushClient/Platform/UIApplication.h"
#include "XelPushClient/Platform/UIApplicationLaunchOptions.h"

namespace xel {

std::optional<LBPushNotification> LBPushNotification::applicationDidReceiveRemoteNotification(
    UIApplication& /*application*/, const Dictionary& payload) {
    if (payload.empty()) {
        return std::nullopt;
    }
    return LBPushNotification(payload);
}

std::optional<LBPushNotification> LBPushNotification::applicationDidFinishLaunchingWithOptions(
    UIApplication& application, const Dictionary& launchOptions) {
    const Value* notification = launchOptions.find(UIApplicationLaunchOptionsRemoteNotificationKey);
    if (notification == nullptr || notification->asDictionary() == nullptr) {
        return std::nullopt;
    }
    return applicationDidReceiveRemoteNotification(application, *notification->asDictionary());
}

void LBPushNotification::resetBadge(UIApplication& application, std::int64_t number) {
    application.setApplicationIconBadgeNumber(number);
}

}  // namespace xel
