#pragma once

#include <cstdint>
#include <optional>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

class UIApplication;

/// A remote notification from the operating system.
class LBPushNotification {
public:
    explicit LBPushNotification(Dictionary userInfo) : userInfo_(std::move(userInfo)) {}

    [[nodiscard]] const Dictionary& userInfo() const { return userInfo_; }

    /// The notification of a payload; none for an empty payload.
    [[nodiscard]] static std::optional<LBPushNotification> applicationDidReceiveRemoteNotification(
        UIApplication& application, const Dictionary& payload);

    /// The notification that launched the application; none when the options hold none.
    [[nodiscard]] static std::optional<LBPushNotification> applicationDidFinishLaunchingWithOptions(
        UIApplication& application, const Dictionary& launchOptions);

    /// Sets the application's badge.
    static void resetBadge(UIApplication& application, std::int64_t number);

private:
    Dictionary userInfo_;
};

}  // namespace xel
