#include "XelPushClient/LoopBack/LBPushNotification.h"

#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

std::optional<LBPushNotification> LBPushNotification::applicationDidReceiveRemoteNotification(
    UIApplication& /*application*/, const Dictionary& payload) {
    if (payload.empty()) {
        return std::nullopt;
    }
    return LBPushNotification(payload);
}

void LBPushNotification::resetBadge(UIApplication& application, std::int64_t number) {
    application.setApplicationIconBadgeNumber(number);
}

}  // namespace xel
