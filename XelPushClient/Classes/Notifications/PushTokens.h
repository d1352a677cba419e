#pragma once

#include <functional>
#include <memory>

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Core/PushTokenState.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Platform/Device.h"
#include "XelPushClient/Platform/UIApplication.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

/// Registers the device as soon as there is a push token, or the placeholder for one, and a user.
class DeviceRegistration {
public:
    virtual ~DeviceRegistration() = default;
    /// Queues the installation save; false, doing nothing, without a push token or a user.
    virtual bool registerDeviceToServer() = 0;
};

/// Asks for permission and a push token, keeps the token, and passes the operating system's notification
/// callbacks on.
///
/// Owner: the manager. Thread: the manager's run loop.
class PushTokens {
public:
    struct Surroundings {
        const ClientLife& life;
        UIApplication& application;
        UNUserNotificationCenter& notificationCenter;
        const UIDevice& device;
        ClientSettings& settings;
        const LogOutput& log;
        EventFanout& fanout;
        PushTokenState& token;
        DeviceRegistration& registration;
    };

    explicit PushTokens(Surroundings surroundings);
    PushTokens(const PushTokens&) = delete;
    PushTokens& operator=(const PushTokens&) = delete;
    ~PushTokens();

    /// Asks for permission to notify and for a push token; the answer arrives at the operations below.
    void registerForAPNsToken();

    void applicationDidRegisterUserNotificationSettings(UIApplication& application);
    void applicationDidRegisterForRemoteNotificationsWithDeviceToken(const Data& deviceToken);
    /// Goes on with a placeholder token, so that devices which get no push token are registered too.
    void applicationDidFailToRegisterForRemoteNotificationsWithError(const NSError& error);
    void applicationDidReceiveRemoteNotification(UIApplication& application, const Dictionary& payload);
    /// As above, then completes with the background-fetch result 0 (new data), every time.
    void applicationDidReceiveRemoteNotification(UIApplication& application, const Dictionary& payload,
                                                 const std::function<void(int)>& fetchCompletionHandler);
    void applicationDidReceiveLocalNotification(UIApplication& application,
                                                const UILocalNotification& notification);
    void userNotificationCenterWillPresentNotification(const UNNotification& notification,
                                                       const std::function<void(std::uint32_t)>& completion);
    void userNotificationCenterDidReceiveNotificationResponse(UNUserNotificationCenter& center,
                                                              const UNNotificationResponse& response,
                                                              const std::function<void()>& completion);

    /// Whether the user has switched every kind of notification off.
    [[nodiscard]] bool isNotificationDenied() const;

private:
    /// The platform's callbacks, kept alive by nobody but this room.
    class PlatformDelegate;

    void registerIfUserIsKnown(std::string_view format, std::string_view operation);

    Surroundings surroundings_;
    std::shared_ptr<PlatformDelegate> platformDelegate_;
};

/// Clears the badge and every scheduled local notification.
void resetBadge(UIApplication& application);

}  // namespace xel
