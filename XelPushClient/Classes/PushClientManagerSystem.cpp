#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Classes/Notifications/MediaTypes.h"
#include "XelPushClient/Classes/PushClientManager.h"

namespace xel {

// ---- Calls of the operating system.

bool PushClientManager::applicationDidFinishLaunchingWithOptions(UIApplication& application,
                                                                 const Dictionary& launchOptions) {
    return rooms_->locationReports.applicationDidFinishLaunchingWithOptions(application, launchOptions);
}
void PushClientManager::applicationDidBecomeActive(UIApplication& application) {
    rooms_->lifecycle.applicationDidBecomeActive(application);
}
void PushClientManager::applicationWillResignActive(UIApplication& application) {
    rooms_->lifecycle.applicationWillResignActive(application);
}
void PushClientManager::applicationWillEnterForeground(UIApplication& application) {
    rooms_->lifecycle.applicationWillEnterForeground(application);
}
void PushClientManager::applicationDidEnterBackground(UIApplication& application) {
    rooms_->lifecycle.applicationDidEnterBackground(application);
}
void PushClientManager::applicationWillTerminate(UIApplication& application) {
    rooms_->lifecycle.applicationWillTerminate(application);
}
void PushClientManager::removeAppLifeCyclesFunctionality() {
    const auto rooms = rooms_.enter();
    rooms->lifecycle.stopObservingApplication();
    rooms->coordinator.stopObservingInstallationId();
}
void PushClientManager::applicationDidRegisterUserNotificationSettings(UIApplication& application) {
    rooms_->tokens.applicationDidRegisterUserNotificationSettings(application);
}
void PushClientManager::applicationDidRegisterForRemoteNotificationsWithDeviceToken(
    UIApplication& /*application*/, const Data& deviceToken) {
    rooms_->tokens.applicationDidRegisterForRemoteNotificationsWithDeviceToken(deviceToken);
}
void PushClientManager::applicationDidFailToRegisterForRemoteNotificationsWithError(
    UIApplication& /*application*/, const NSError& error) {
    rooms_->tokens.applicationDidFailToRegisterForRemoteNotificationsWithError(error);
}
void PushClientManager::applicationDidReceiveRemoteNotification(UIApplication& application,
                                                                const Dictionary& payload) {
    rooms_->tokens.applicationDidReceiveRemoteNotification(application, payload);
}
void PushClientManager::applicationDidReceiveRemoteNotification(
    UIApplication& application, const Dictionary& payload,
    const std::function<void(int)>& fetchCompletionHandler) {
    rooms_->tokens.applicationDidReceiveRemoteNotification(application, payload, fetchCompletionHandler);
}
void PushClientManager::applicationDidReceiveLocalNotification(UIApplication& application,
                                                               const UILocalNotification& notification) {
    rooms_->tokens.applicationDidReceiveLocalNotification(application, notification);
}
void PushClientManager::userNotificationCenterWillPresentNotification(
    UNUserNotificationCenter& /*center*/, const UNNotification& notification,
    const std::function<void(std::uint32_t)>& completion) {
    rooms_->tokens.userNotificationCenterWillPresentNotification(notification, completion);
}
void PushClientManager::userNotificationCenterDidReceiveNotificationResponse(
    UNUserNotificationCenter& center, const UNNotificationResponse& response,
    const std::function<void()>& completion) {
    rooms_->tokens.userNotificationCenterDidReceiveNotificationResponse(center, response, completion);
}
const std::optional<Data>& PushClientManager::deviceToken() const {
    return rooms_->token.deviceToken;
}
const std::optional<std::string>& PushClientManager::tokenStatus() const {
    return rooms_->token.tokenStatus;
}
bool PushClientManager::isNotificationDenied() const {
    return rooms_->tokens.isNotificationDenied();
}
void PushClientManager::resetBadge() {
    xel::resetBadge(*rooms_->machine.application);
}

// ---- Rich notifications.

void PushClientManager::showLocalRichNotificationWithPayload(const Dictionary& payload) {
    rooms_->richNotifications.showLocalRichNotificationWithPayload(payload);
}
void PushClientManager::createMutableLocalNotificationTitle(
    const OptionalText& title, const OptionalText& body, const OptionalText& subtitle,
    const OptionalText& sound, std::int64_t badge, const OptionalText& category,
    const OptionalDictionary& userInfo, const OptionalText& filePath) {
    rooms_->richNotifications.createMutableLocalNotificationTitle(
        title.asOptional(), body.asOptional(), subtitle.asOptional(), sound.asOptional(), badge,
        category.asOptional(), userInfo.asOptional(), filePath.asOptional());
}
void PushClientManager::createCategoryNotificationWithActions(const std::optional<Array>& actions,
                                                              const OptionalText& identifier) {
    rooms_->richNotifications.createCategoryNotificationWithActions(actions, identifier.asOptional());
}
void PushClientManager::didReceiveNotificationRequest(const UNNotificationRequest& request,
                                                      NotificationContentHandler contentHandler) {
    rooms_->richNotifications.didReceiveNotificationRequest(request, std::move(contentHandler));
}
void PushClientManager::downloadDataForUrlString(const Text& url, const Text& mediaType,
                                                 MediaFileHandler handler) {
    rooms_->richNotifications.downloadDataForUrlString(url.string(), mediaType.string(), std::move(handler));
}
void PushClientManager::loadAttachmentForUrlString(const Text& url, const Text& mediaType,
                                                   NotificationAttachmentHandler handler) {
    rooms_->richNotifications.loadAttachmentForUrlString(url.string(), mediaType.string(),
                                                         std::move(handler));
}
std::optional<UNNotificationAction> PushClientManager::createNotificationActionWithTitle(
    const OptionalText& title, const OptionalText& identifier, std::uint32_t options) {
    return RichNotifications::createNotificationActionWithTitle(title.asOptional(), identifier.asOptional(),
                                                                options);
}
std::string PushClientManager::fileExtensionForMediaType(const Text& mediaType) {
    return xel::fileExtensionForMediaType(mediaType.string());
}

// ---- Crash reports.

void PushClientManager::applicationCrashedWithUserInfo(const Dictionary& userInfo,
                                                       CrashReportOptions options) {
    rooms_.enterFromAnyThread()->crashReports.applicationCrashedWithUserInfo(userInfo, options);
}

// ---- The device.

std::string PushClientManager::deviceModel() const {
    return rooms_->device.deviceModel();
}
Dictionary PushClientManager::deviceModelList() {
    Dictionary models;
    for (const auto& [identifier, name] : xel::deviceModelList()) {
        models.set(identifier, name);
    }
    return models;
}
std::string PushClientManager::deviceOsVersion() const {
    return rooms_->device.deviceOsVersion();
}
PushClientServerReachabilityNetworkType PushClientManager::getConnectionType() const {
    return rooms_->device.getConnectionType();
}
std::optional<int> PushClientManager::getConnectionTypeFromStatusBar() {
    return DeviceDescription::getConnectionTypeFromStatusBar();
}

}  // namespace xel
