#include "XelPushClient/Classes/Core/BroadcastDetails.h"

#include <string_view>

#include "XelPushClient/Classes/Core/PushClientConstants.h"

namespace xel {
namespace {

std::optional<bool> flagUnder(const NSNotification& notification, std::string_view key) {
    const bool* flag = notification.userInfo.get<bool>(key);
    return flag != nullptr ? std::optional(*flag) : std::nullopt;
}

}  // namespace

const PushClientMessage* messageOf(const NSNotification& notification) {
    return notification.userInfo.get<PushClientMessage>(PushClientMessageKey);
}

std::optional<bool> reachableOf(const NSNotification& notification) {
    return flagUnder(notification, PushClientReachableKey);
}

std::optional<PushClientServerReachabilityNetworkType> networkTypeOf(const NSNotification& notification) {
    const auto* type = notification.userInfo.get<unsigned>(PushClientNetworkTypeKey);
    return type != nullptr ? std::optional(static_cast<PushClientServerReachabilityNetworkType>(*type))
                           : std::nullopt;
}

const NSError* errorOf(const NSNotification& notification) {
    return notification.userInfo.get<NSError>(PushClientErrorKey);
}

std::optional<bool> sentOf(const NSNotification& notification) {
    const auto sent = flagUnder(notification, PushClientSentKey);
    return sent ? sent : flagUnder(notification, PushClientSentRequstKey);
}

std::optional<bool> verifiedOf(const NSNotification& notification) {
    return flagUnder(notification, PushClientVerifyUserCodeKey);
}

}  // namespace xel
