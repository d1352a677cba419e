#include "XelPushClient/Classes/PushClientManager.h"

#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Classes/Core/DictionarySerialization.h"
#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Classes/Notifications/MediaTypes.h"

namespace xel {

PushClientManager::PushClientManager(Machine machine, Home home)
    : rooms_(std::make_unique<ClientRooms>(*this, std::move(machine), std::move(home))) {
    rooms_->lifecycle.observeApplication();
    rooms_->coordinator.observeInstallationId();
    rooms_->lifecycle.observeReachability();
    rooms_->connection.setConnectionState(PushClientServerDisconnectedState);
    rooms_->location.resumeMonitoring();
}

PushClientManager::~PushClientManager() = default;

void PushClientManager::setDevelopment(bool development) {
    setDevelopmentEnvironment(development);
}

// ---- Identity and settings.

const std::optional<std::string>& PushClientManager::appId() const {
    return rooms_->settings.appId;
}
const std::optional<std::string>& PushClientManager::apiKey() const {
    return rooms_->settings.apiKey;
}
const std::optional<std::string>& PushClientManager::username() const {
    return rooms_->settings.username;
}
const std::optional<std::string>& PushClientManager::password() const {
    return rooms_->settings.password;
}
const std::optional<std::string>& PushClientManager::appVersion() const {
    return rooms_->settings.appVersion;
}
const std::optional<std::string>& PushClientManager::userId() const {
    return rooms_->settings.userId();
}
const std::optional<std::string>& PushClientManager::deviceId() const {
    return rooms_->settings.deviceId();
}
const std::optional<std::string>& PushClientManager::getInstallationId() const {
    return deviceId();
}
void PushClientManager::setUserId(const std::optional<std::string>& userId) {
    rooms_->settings.setUserId(userId);
}
void PushClientManager::setDeviceId(const std::optional<std::string>& deviceId) {
    rooms_->settings.setDeviceId(deviceId);
}
const Dictionary& PushClientManager::userInfo() const {
    return rooms_->settings.userInfo();
}
void PushClientManager::setUserInfo(const std::optional<Dictionary>& userInfo) {
    rooms_->settings.setUserInfo(userInfo);
}
std::string PushClientManager::clientVersion() const {
    return rooms_->settings.clientVersion();
}
void PushClientManager::setClientVersion(const std::string& clientVersion) {
    rooms_->settings.setClientVersion(clientVersion);
}
bool PushClientManager::enableLog() const {
    return rooms_->settings.enableLog();
}
void PushClientManager::setEnableLog(bool enable) {
    rooms_->settings.setEnableLog(enable);
}
bool PushClientManager::deliveryChannelEnabeled() const {
    return rooms_->settings.deliveryChannelEnabeled();
}
void PushClientManager::setDeliveryChannelEnabeled(bool enabled) {
    rooms_->settings.setDeliveryChannelEnabeled(enabled);
}
bool PushClientManager::usingSSLConnection() const {
    return rooms_->settings.usingSSLConnection;
}
void PushClientManager::setUsingSSLConnection(bool usingSSL) {
    rooms_->settings.usingSSLConnection = usingSSL;
}
bool PushClientManager::enableLocationOnLaunch() const {
    return rooms_->settings.enableLocationOnLaunch();
}
void PushClientManager::setEnableLocationOnLaunch(bool enable) {
    rooms_->locationReports.setEnableLocationOnLaunch(enable);
}
std::optional<Dictionary> PushClientManager::locationOnLaunchWithDictionary() const {
    return rooms_->settings.locationOnLaunchWithDictionary();
}
void PushClientManager::setLocationOnLaunchWithDictionary(const std::optional<Dictionary>& options) {
    rooms_->settings.setLocationOnLaunchWithDictionary(options);
}
const std::optional<NSError>& PushClientManager::failureError() const {
    return rooms_->settings.failureError;
}

// ---- Who hears of outcomes.

void PushClientManager::addDelegate(DelegateList::Delegate delegate, DelegateOperations operations) {
    rooms_->fanout.delegates.addDelegate(std::move(delegate), operations);
}
void PushClientManager::removeDelegate(const std::shared_ptr<PushClientManagerDelegate>& delegate) {
    rooms_->fanout.delegates.removeDelegate(delegate.get());
}
void PushClientManager::removeAllDelegates() {
    rooms_->fanout.delegates.removeAllDelegates();
}
void PushClientManager::setDelegate(DelegateList::Delegate delegate, DelegateOperations operations) {
    rooms_->fanout.delegates.setDelegate(std::move(delegate), operations);
}
std::shared_ptr<PushClientManagerDelegate> PushClientManager::delegate() const {
    return rooms_->fanout.delegates.delegate();
}
std::vector<std::shared_ptr<PushClientManagerDelegate>> PushClientManager::delegates() const {
    return rooms_->fanout.delegates.delegates();
}
void PushClientManager::setMessageHandler(PushClientMessageHandlerBlock block) {
    rooms_->fanout.blocks.messageHandler = std::move(block);
}
void PushClientManager::setMessageUILocalNotificationHandler(
    PushClientMessageUILocalNotificationHandlerBlock block) {
    rooms_->fanout.blocks.messageUILocalNotificationHandler = std::move(block);
}
void PushClientManager::setMessageDeliveredHandler(PushClientMessageDeliveredHandlerBlock block) {
    rooms_->fanout.blocks.messageDeliveredHandler = std::move(block);
}
void PushClientManager::setRegistrationHandler(PushClientRegistrationHandlerBlock block) {
    rooms_->fanout.blocks.registrationHandler = std::move(block);
}
void PushClientManager::setServerConnectionStateHandler(PushClientServerConnectionStateHandlerBlock block) {
    rooms_->fanout.blocks.serverConnectionStateHandler = std::move(block);
}
void PushClientManager::setServerReachabilityHandler(PushClientServerReachabilityCallBackBlock block) {
    rooms_->fanout.blocks.serverReachabilityHandler = std::move(block);
}
void PushClientManager::setVerificationHandler(PushClientVerificationHandlerBlock block) {
    rooms_->fanout.blocks.verificationHandler = std::move(block);
}
void PushClientManager::setVerifiyUserCodeHandler(PushClientVerifyUserCodeHandlerBlock block) {
    rooms_->fanout.blocks.verifiyUserCodeHandler = std::move(block);
}
NSNotificationCenter& PushClientManager::notificationCenter() const {
    return *rooms_->home.notificationCenter;
}

// ---- Registration.

bool PushClientManager::registerApplication(const std::optional<std::string>& appId,
                                            const std::optional<std::string>& apiKey,
                                            const std::optional<std::string>& userName,
                                            const std::optional<std::string>& password) {
    return rooms_->registration.registerApplication(appId, apiKey, userName, password);
}
bool PushClientManager::registerUser(const std::optional<std::string>& userId,
                                     const std::vector<std::string>& channels) {
    return rooms_->registration.registerUser(userId, channels);
}
bool PushClientManager::registerUser(const std::optional<std::string>& userId,
                                     PushClientRegistrationHandlerBlock registrationHandler) {
    return registerUser(userId, std::vector<std::string>(), std::move(registrationHandler));
}
bool PushClientManager::registerUser(const std::optional<std::string>& userId,
                                     const std::vector<std::string>& channels,
                                     PushClientRegistrationHandlerBlock registrationHandler) {
    if (!registrationHandler) {
        return false;
    }
    setRegistrationHandler(std::move(registrationHandler));
    return registerUser(userId, channels);
}
bool PushClientManager::registerAgainWithUserId(const std::optional<std::string>& userId,
                                                const std::vector<std::string>& channels) {
    return rooms_->registration.registerAgainWithUserId(userId, channels);
}
bool PushClientManager::registerDeviceToServer() {
    return rooms_->registration.registerDeviceToServer();
}
void PushClientManager::registerForAPNsToken() {
    rooms_->tokens.registerForAPNsToken();
}
void PushClientManager::unregisterUser(std::function<void(const Value& response)> success,
                                       std::function<void(const NSError& error)> failure) {
    rooms_->registration.unregisterUser(std::move(success), std::move(failure));
}
bool PushClientManager::isRegistered() const {
    return rooms_->registration.isRegistered();
}
bool PushClientManager::pendingRegisteration() const {
    return rooms_->registration.pendingRegisteration();
}
void PushClientManager::reset() {
    rooms_->coordinator.reset();
}

// ---- Connection.

void PushClientManager::connectToServer() {
    rooms_->connection.connectToServer();
}
void PushClientManager::disconnectFromServer() {
    rooms_->connection.disconnectFromServer();
}
PushClientServerConnectionState PushClientManager::connectionState() const {
    return rooms_->connection.connectionState();
}
std::string_view PushClientManager::connectionStateString() const {
    return xel::connectionStateString(connectionState());
}
const std::optional<std::string>& PushClientManager::brokerClientId() const {
    return rooms_->connection.brokerClientId();
}
bool PushClientManager::isServerReachable() const {
    return rooms_->lifecycle.isServerReachable();
}
PushClientServerReachabilityNetworkType PushClientManager::serverNetworkType() const {
    return rooms_->lifecycle.serverNetworkType();
}
void PushClientManager::setLaunchStats() {
    rooms_->settings.setLaunchStats();
}
std::optional<std::int64_t> PushClientManager::getLaunchCount() const {
    return rooms_->settings.getLaunchCount();
}
std::int64_t PushClientManager::getLaunchTime() const {
    return rooms_->settings.getLaunchTime();
}
bool PushClientManager::launchedByUser() const {
    return rooms_->settings.launchedByUser;
}
void PushClientManager::enqueueWhenSessionIsConnected(std::function<void()> block) {
    rooms_->deferred.enqueueWhenSessionIsConnected(std::move(block));
}

// ---- Channels and events.

void PushClientManager::subscribe(const std::string& channel, SubscribeOptions options) {
    rooms_->subscriptions.subscribe({channel}, options);
}
void PushClientManager::subscribeList(const std::vector<std::string>& channels, SubscribeOptions options) {
    rooms_->subscriptions.subscribe(channels, options);
}
void PushClientManager::unsubscribe(const std::string& channel) {
    rooms_->subscriptions.unsubscribe(channel);
}
void PushClientManager::subscribeEvent(const std::string& eventName, const EventSubscribeOptions& options) {
    rooms_->subscriptions.subscribeEvent(eventName, options);
}
void PushClientManager::unsubscribeEvent(const std::string& eventName,
                                         const std::optional<std::string>& installationId) {
    rooms_->subscriptions.unsubscribeEvent(eventName, installationId);
}
std::vector<std::string> PushClientManager::deviceSubscriptions() {
    return rooms_->channels.deviceSubscriptions();
}
void PushClientManager::updateNotificationSettings(const std::string& channel, const std::string& sound,
                                                   bool alert) {
    rooms_->channels.updateNotificationSettings(channel, sound, alert);
}
std::optional<Dictionary> PushClientManager::notificationSettingsFor(const std::string& channel) const {
    return rooms_->channels.notificationSettingsFor(channel);
}

// ---- Publishing.

bool PushClientManager::publish(const PushClientMessage& message) {
    return rooms_->publisher.publish(message);
}
bool PushClientManager::publish(const std::optional<std::string>& channel,
                                const std::optional<std::string>& withText) {
    return rooms_->publisher.publish(channel, withText);
}
bool PushClientManager::publish(const std::optional<std::string>& userId,
                                const std::optional<std::string>& toChannel,
                                const std::optional<std::string>& withText) {
    return rooms_->publisher.publish(userId, toChannel, withText);
}
bool PushClientManager::publishEvent(const std::string& eventName, const std::optional<Dictionary>& data,
                                     PublishEventOptions options) {
    return rooms_->publisher.publishEvent(eventName, data, options);
}
bool PushClientManager::markAsRead(const std::optional<std::string>& messageId) {
    return rooms_->publisher.markAsRead(messageId);
}
bool PushClientManager::messageDismissed(const std::optional<std::string>& messageId) {
    return rooms_->publisher.messageDismissed(messageId);
}
std::optional<std::string> PushClientManager::serializeToDict(
    const std::optional<Dictionary>& dictionary) const {
    return xel::serializeToDict(dictionary, rooms_->log);
}
std::optional<std::string> PushClientManager::toJsonString(
    const std::optional<Dictionary>& dictionary) const {
    return xel::toJsonString(dictionary, rooms_->log);
}

// ---- Verification, tags and plain requests.

bool PushClientManager::requestVerificationCode(const std::optional<std::string>& userId,
                                                const std::optional<std::string>& /*media*/) {
    return rooms_->verification.requestVerificationCode(userId);
}
bool PushClientManager::requestVerificationCode(const std::optional<std::string>& userId,
                                                PushClientVerificationHandlerBlock completionBlock) {
    return requestVerificationCode(userId, std::nullopt, std::move(completionBlock));
}
bool PushClientManager::requestVerificationCode(const std::optional<std::string>& userId,
                                                const std::optional<std::string>& media,
                                                PushClientVerificationHandlerBlock completionBlock) {
    setVerificationHandler(std::move(completionBlock));
    return requestVerificationCode(userId, media);
}
bool PushClientManager::verifyUserCode(const std::optional<std::string>& userId,
                                       const std::optional<std::string>& userCode) {
    return rooms_->verification.verifyUserCode(userId, userCode);
}
bool PushClientManager::verifyUserCode(const std::optional<std::string>& userId,
                                       const std::optional<std::string>& userCode,
                                       PushClientVerifyUserCodeHandlerBlock completionBlock) {
    setVerifiyUserCodeHandler(std::move(completionBlock));
    return verifyUserCode(userId, userCode);
}
void PushClientManager::addTag(const std::optional<std::string>& name,
                               std::function<void(std::int64_t count)> success,
                               const std::function<void(const NSError& error)>& failure) {
    rooms_->tags.addTag(name, std::move(success), failure);
}
void PushClientManager::removeTag(const std::optional<std::string>& name,
                                  std::function<void(std::int64_t count)> success,
                                  const std::function<void(const NSError& error)>& failure) {
    rooms_->tags.removeTag(name, std::move(success), failure);
}
void PushClientManager::requestMethod(const std::optional<std::string>& method, const std::string& path,
                                      const std::optional<Dictionary>& parameters,
                                      std::function<void(const Value& response)> success,
                                      const std::function<void(const NSError& error)>& failure) {
    rooms_->requests.requestMethod(method, path, parameters, std::move(success), failure);
}

// ---- Topics.

std::optional<std::string> PushClientManager::brokerTopicForDevice() const {
    return xel::brokerTopicForDevice(rooms_->channels.identity());
}
std::optional<std::string> PushClientManager::brokerTopic() const {
    return xel::brokerTopic(rooms_->channels.identity());
}
std::optional<std::string> PushClientManager::publicTopic() const {
    return xel::publicTopic(rooms_->channels.identity());
}
std::optional<std::string> PushClientManager::deliveryTopic() const {
    return xel::deliveryTopic(rooms_->channels.identity());
}
std::optional<std::string> PushClientManager::liveTopic() const {
    return xel::liveTopic(rooms_->channels.identity());
}

// ---- The location.

CoreGeoLocation& PushClientManager::instanceCoreGeoLocation() const {
    return rooms_->location;
}
void PushClientManager::publishLocation(const std::optional<CLLocation>& location,
                                        const PublishLocationOptions& options) {
    rooms_->locationReports.publishLocation(location, options);
}
void PushClientManager::checkLocationOnLaunch() {
    rooms_->locationReports.checkLocationOnLaunch();
}
void PushClientManager::startLocationIfTrackingMe() {
    rooms_->locationReports.startLocationIfTrackingMe();
}

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
    rooms_->lifecycle.stopObservingApplication();
    rooms_->coordinator.stopObservingInstallationId();
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
    const std::optional<std::string>& title, const std::optional<std::string>& body,
    const std::optional<std::string>& subtitle, const std::optional<std::string>& sound, std::int64_t badge,
    const std::optional<std::string>& category, const std::optional<Dictionary>& userInfo,
    const std::optional<std::string>& filePath) {
    rooms_->richNotifications.createMutableLocalNotificationTitle(title, body, subtitle, sound, badge,
                                                                  category, userInfo, filePath);
}
void PushClientManager::createCategoryNotificationWithActions(const std::optional<Array>& actions,
                                                              const std::optional<std::string>& identifier) {
    rooms_->richNotifications.createCategoryNotificationWithActions(actions, identifier);
}
void PushClientManager::didReceiveNotificationRequest(const UNNotificationRequest& request,
                                                      NotificationContentHandler contentHandler) {
    rooms_->richNotifications.didReceiveNotificationRequest(request, std::move(contentHandler));
}
void PushClientManager::downloadDataForUrlString(const std::string& url, const std::string& mediaType,
                                                 MediaFileHandler handler) {
    rooms_->richNotifications.downloadDataForUrlString(url, mediaType, std::move(handler));
}
void PushClientManager::loadAttachmentForUrlString(const std::string& url, const std::string& mediaType,
                                                   NotificationAttachmentHandler handler) {
    rooms_->richNotifications.loadAttachmentForUrlString(url, mediaType, std::move(handler));
}
std::optional<UNNotificationAction> PushClientManager::createNotificationActionWithTitle(
    const std::optional<std::string>& title, const std::optional<std::string>& identifier,
    std::uint32_t options) {
    return RichNotifications::createNotificationActionWithTitle(title, identifier, options);
}
std::string PushClientManager::fileExtensionForMediaType(std::string_view mediaType) {
    return xel::fileExtensionForMediaType(mediaType);
}

// ---- Crash reports.

void PushClientManager::applicationCrashedWithUserInfo(const Dictionary& userInfo,
                                                       CrashReportOptions options) {
    rooms_->crashReports.applicationCrashedWithUserInfo(userInfo, options);
}

// ---- What the client holds.

std::shared_ptr<const MQTTSession> PushClientManager::brokerSession() const {
    return rooms_->connection.brokerSession();
}
bool PushClientManager::forceClose() const {
    return rooms_->connection.forceClose();
}
double PushClientManager::reconnectTime() const {
    return rooms_->connection.reconnectTime();
}
UIBackgroundTaskIdentifier PushClientManager::backgroundTask() const {
    return rooms_->lifecycle.backgroundTask();
}
const std::optional<TopicTable>& PushClientManager::topics() const {
    return rooms_->channels.topics;
}
std::shared_ptr<const TopicTable> PushClientManager::goingToTopics() const {
    return rooms_->subscriptions.goingToTopics();
}
const std::map<std::uint16_t, std::string>& PushClientManager::subscribeMsgIds() const {
    return rooms_->subscriptions.subscribeMsgIds();
}
const std::map<std::uint16_t, std::string>& PushClientManager::unSubscribeMsgIds() const {
    return rooms_->subscriptions.unSubscribeMsgIds();
}
const std::optional<Dictionary>& PushClientManager::notificationSettings() const {
    return rooms_->channels.notificationSettings;
}
std::shared_ptr<LBRESTAdapter> PushClientManager::loopBackAdaptor() {
    return rooms_->settings.loopBackAdaptor();
}

// ---- The device.

std::string PushClientManager::deviceModel() const {
    return rooms_->device.deviceModel();
}
std::string PushClientManager::deviceOsVersion() const {
    return rooms_->device.deviceOsVersion();
}
PushClientServerReachabilityNetworkType PushClientManager::getConnectionType() const {
    return rooms_->device.getConnectionType();
}

}  // namespace xel
