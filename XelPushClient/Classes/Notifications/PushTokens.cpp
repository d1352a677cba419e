#include "XelPushClient/Classes/Notifications/PushTokens.h"

#include <utility>

#include "XelPushClient/Classes/Notifications/VersionOrder.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/LoopBack/LBPushNotification.h"

namespace xel {
namespace {

constexpr std::string_view kFirstVersionWithAuthorization = "10.0";
constexpr std::uint32_t kPermissionOptions =
    UNNotificationOptionBadge | UNNotificationOptionSound | UNNotificationOptionAlert;
/// One bit more than badge, sound and alert: older systems are asked with it, and stay so.
constexpr std::uint32_t kSettingsTypes = 15;
constexpr int kBackgroundFetchResultNewData = 0;
constexpr std::string_view kPlaceholderToken = "Simulator";

}  // namespace

class PushTokens::PlatformDelegate : public UIApplicationDelegate, public UNUserNotificationCenterDelegate {
public:
    explicit PlatformDelegate(ClientLife::WayInto<PushTokens> wayIn) : wayIn_(std::move(wayIn)) {}

    void applicationDidRegisterUserNotificationSettings(
        UIApplication& application, const UIUserNotificationSettings& /*settings*/) override {
        if (const auto room = wayIn_.hold()) {
            room->applicationDidRegisterUserNotificationSettings(application);
        }
    }
    void applicationDidRegisterForRemoteNotificationsWithDeviceToken(UIApplication& /*application*/,
                                                                     const Data& deviceToken) override {
        if (const auto room = wayIn_.hold()) {
            room->applicationDidRegisterForRemoteNotificationsWithDeviceToken(deviceToken);
        }
    }
    void applicationDidFailToRegisterForRemoteNotificationsWithError(UIApplication& /*application*/,
                                                                     const NSError& error) override {
        if (const auto room = wayIn_.hold()) {
            room->applicationDidFailToRegisterForRemoteNotificationsWithError(error);
        }
    }
    void applicationDidReceiveRemoteNotification(UIApplication& application,
                                                 const Dictionary& payload) override {
        if (const auto room = wayIn_.hold()) {
            room->applicationDidReceiveRemoteNotification(application, payload);
        }
    }
    void userNotificationCenterWillPresentNotification(
        UNUserNotificationCenter& /*center*/, const UNNotification& notification,
        std::function<void(std::uint32_t)> completion) override {
        if (const auto room = wayIn_.hold()) {
            room->userNotificationCenterWillPresentNotification(notification, completion);
        }
    }
    void userNotificationCenterDidReceiveNotificationResponse(UNUserNotificationCenter& center,
                                                              const UNNotificationResponse& response,
                                                              std::function<void()> completion) override {
        if (const auto room = wayIn_.hold()) {
            room->userNotificationCenterDidReceiveNotificationResponse(center, response, completion);
        }
    }

private:
    ClientLife::WayInto<PushTokens> wayIn_;
};

PushTokens::PushTokens(Surroundings surroundings)
    : surroundings_(surroundings),
      platformDelegate_(std::make_shared<PlatformDelegate>(surroundings.life.wayInto(*this))) {
    // From the start: the program may have been started for a notification, which waits for a delegate.
    surroundings_.application.attachDelegate(platformDelegate_);
}

PushTokens::~PushTokens() = default;

void PushTokens::registerForAPNsToken() {
    auto& application = surroundings_.application;
    if (!isVersionLower(surroundings_.device.systemVersion(), kFirstVersionWithAuthorization)) {
        surroundings_.notificationCenter.setDelegate(platformDelegate_);
        surroundings_.notificationCenter.requestAuthorizationWithOptions(
            kPermissionOptions, [](bool /*granted*/, const std::optional<NSError>& /*error*/) {});
    }
    if (application.respondsToRegisterUserNotificationSettings()) {
        application.registerUserNotificationSettings({kSettingsTypes}, platformDelegate_);
    } else {
        application.registerForRemoteNotificationTypes(kSettingsTypes, platformDelegate_);
    }
}

void PushTokens::applicationDidRegisterUserNotificationSettings(UIApplication& application) {
    application.registerForRemoteNotifications(platformDelegate_);
}

void PushTokens::applicationDidRegisterForRemoteNotificationsWithDeviceToken(const Data& deviceToken) {
    surroundings_.token.deviceToken = deviceToken;
    surroundings_.token.tokenStatus = isNotificationDenied() ? "DENIED" : "ALLOWED";
    // The token addresses this device: the log shows its length only.
    TVRLog(surroundings_.log, "didRegisterForRemoteNotificationsWithDeviceToken <%d bytes>",
           deviceToken.size());
    registerIfUserIsKnown(
        "[%@]: registerDeviceToServer ",
        "-[PushClientManager application:didRegisterForRemoteNotificationsWithDeviceToken:]");
}

void PushTokens::applicationDidFailToRegisterForRemoteNotificationsWithError(const NSError& error) {
    TVRLog(surroundings_.log, "didFailToRegisterForRemoteNotificationsWithError %@", error);
    surroundings_.token.deviceToken = Data(kPlaceholderToken.begin(), kPlaceholderToken.end());
    registerIfUserIsKnown(
        "[%@]: Simulator registered ",
        "-[PushClientManager application:didFailToRegisterForRemoteNotificationsWithError:]");
}

void PushTokens::registerIfUserIsKnown(std::string_view format, std::string_view operation) {
    if (isMissingOrBlank(surroundings_.settings.userId())) {
        return;
    }
    TVRLog(surroundings_.log, format, operation);
    (void)surroundings_.registration.registerDeviceToServer();
}

void PushTokens::applicationDidReceiveRemoteNotification(UIApplication& application,
                                                         const Dictionary& payload) {
    if (const auto notification =
            LBPushNotification::applicationDidReceiveRemoteNotification(application, payload)) {
        TVRLog(surroundings_.log, "Received Remote Notification: %@", notification->userInfo());
    }
}

void PushTokens::applicationDidReceiveRemoteNotification(
    UIApplication& application, const Dictionary& payload,
    const std::function<void(int)>& fetchCompletionHandler) {
    applicationDidReceiveRemoteNotification(application, payload);
    if (fetchCompletionHandler) {
        fetchCompletionHandler(kBackgroundFetchResultNewData);
    }
}

void PushTokens::applicationDidReceiveLocalNotification(UIApplication& application,
                                                        const UILocalNotification& notification) {
    const bool isInactive = application.applicationState() == UIApplicationState::Inactive;
    TVRLog(surroundings_.log,
           isInactive ? "Local noticiation - App was in background and user pressed action button: %@"
                      : "Local noticiation - App was in foreground: %@",
           notification.userInfo);
}

void PushTokens::userNotificationCenterWillPresentNotification(
    const UNNotification& notification, const std::function<void(std::uint32_t)>& completion) {
    TVRLog(surroundings_.log, "@@@@@@@@@@@@@@@@@ willPresentNotification: %@", notification.userInfo);
    if (completion) {
        completion(kPermissionOptions);
    }
}

void PushTokens::userNotificationCenterDidReceiveNotificationResponse(
    UNUserNotificationCenter& center, const UNNotificationResponse& response,
    const std::function<void()>& completion) {
    TVRLog(surroundings_.log, "User was clicked on an action : %@", response.actionIdentifier);
    surroundings_.fanout.forwardNotificationResponse(center, response, completion);
}

bool PushTokens::isNotificationDenied() const {
    return surroundings_.application.currentUserNotificationSettings().types == 0;
}

void resetBadge(UIApplication& application) {
    LBPushNotification::resetBadge(application, 0);
    application.cancelAllLocalNotifications();
}

}  // namespace xel
