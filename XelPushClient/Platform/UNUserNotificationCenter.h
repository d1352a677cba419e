#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Foundation/Value.h"
#include "XelPushClient/Platform/UNNotificationContent.h"

namespace xel {

/// Bits of permission and of presentation.
enum UNNotificationOptions : std::uint32_t {
    UNNotificationOptionBadge = 1,
    UNNotificationOptionSound = 2,
    UNNotificationOptionAlert = 4,
};

/// A notification about to be shown, or shown.
struct UNNotification {
    std::string requestIdentifier;
    Dictionary userInfo;
};

/// What the user did with a notification.
struct UNNotificationResponse {
    std::string actionIdentifier;
    UNNotification notification;
};

class UNUserNotificationCenter;

/// Hears about notifications, on the machine's run loop.
class UNUserNotificationCenterDelegate {
public:
    virtual ~UNUserNotificationCenterDelegate() = default;

    /// A notification arrives while the application is in front. The completion takes the presentation
    /// options.
    virtual void userNotificationCenterWillPresentNotification(
        UNUserNotificationCenter& center, const UNNotification& notification,
        std::function<void(std::uint32_t)> completion) = 0;
    /// The user acted on a notification. The completion tells the system that the action is dealt with.
    virtual void userNotificationCenterDidReceiveNotificationResponse(UNUserNotificationCenter& center,
                                                                      const UNNotificationResponse& response,
                                                                      std::function<void()> completion) = 0;
};

/// The desktop's or device's notification service. Thread: the machine's run loop.
class UNUserNotificationCenter {
public:
    virtual ~UNUserNotificationCenter() = default;

    /// Replaces the delegate; one that has expired is none.
    virtual void setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> delegate) = 0;

    /// Asks the user for permission. The completion is called later with the answer.
    virtual void requestAuthorizationWithOptions(
        std::uint32_t options,
        std::function<void(bool granted, const std::optional<NSError>& error)> completion) = 0;

    /// Replaces all categories. A notification gets the buttons that its category has when it is shown.
    virtual void setNotificationCategories(std::vector<UNNotificationCategory> categories) = 0;

    /// An attachment of a file that exists and can be read; otherwise, and for a missing path, an error of
    /// `UNErrorDomain`. Checks the file without reading it.
    [[nodiscard]] virtual Result<UNNotificationAttachment> attachmentWithIdentifier(
        std::string identifier, const std::optional<std::string>& file) = 0;

    /// Shows a notification, replacing the one with the same identifier on screen. The completion, which
    /// may be empty, is called later: without an error once the notification service has taken it.
    virtual void addNotificationRequest(
        UNNotificationRequest request,
        std::function<void(const std::optional<NSError>& error)> completion) = 0;
};

}  // namespace xel
