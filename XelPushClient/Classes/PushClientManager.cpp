#include "XelPushClient/Classes/PushClientManager.h"

#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Classes/Topics/NameChecks.h"
#include "XelPushClient/Classes/Topics/NameRules.h"

namespace xel {

PushClientManager::PushClientManager(Machine machine, Home home)
    : rooms_(ClientRooms::make(*this, std::move(machine), std::move(home))) {
    rooms_->lifecycle.observeApplication();
    rooms_->coordinator.observeInstallationId();
    rooms_->lifecycle.observeReachability();
    rooms_->makeQueues();
    // The value that it has: hosts know a client to begin with one report of its state.
    rooms_->state.assign(PushClientServerDisconnectedState);
    rooms_->location.resumeMonitoring();
}

PushClientManager::~PushClientManager() = default;

void PushClientManager::setDevelopment(bool development) {
    setDevelopmentEnvironment(development);
}

// ---- Identity and settings.

const std::optional<std::string>& PushClientManager::appId() const {
    return rooms_->settings.appId();
}
const std::optional<std::string>& PushClientManager::apiKey() const {
    return rooms_->settings.apiKey();
}
const std::optional<std::string>& PushClientManager::username() const {
    return rooms_->settings.username();
}
const std::optional<std::string>& PushClientManager::password() const {
    return rooms_->settings.password();
}
const std::optional<std::string>& PushClientManager::appVersion() const {
    return rooms_->settings.appVersion();
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
void PushClientManager::setUserId(const OptionalText& userId) {
    rooms_->settings.setUserId(userId.asOptional());
}
void PushClientManager::setDeviceId(const OptionalText& deviceId) {
    rooms_->settings.setDeviceId(deviceId.asOptional());
}
const Dictionary& PushClientManager::userInfo() const {
    return rooms_->settings.userInfo();
}
void PushClientManager::setUserInfo(const OptionalDictionary& userInfo) {
    rooms_->settings.setUserInfo(userInfo.asOptional());
}
std::string PushClientManager::clientVersion() const {
    return rooms_->settings.clientVersion();
}
void PushClientManager::setClientVersion(const OptionalText& clientVersion) {
    rooms_->settings.setClientVersion(clientVersion.asOptional());
}
std::string PushClientManager::getClientVersionFromAppPlist() const {
    return rooms_->settings.getClientVersionFromAppPlist();
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
    return rooms_->settings.usingSSLConnection();
}
void PushClientManager::setUsingSSLConnection(bool usingSSL) {
    rooms_->settings.setUsingSSLConnection(usingSSL);
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
void PushClientManager::setLocationOnLaunchWithDictionary(const OptionalDictionary& options) {
    rooms_->settings.setLocationOnLaunchWithDictionary(options.asOptional());
}
const std::optional<NSError>& PushClientManager::failureError() const {
    return rooms_->lastFailure.error();
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

bool PushClientManager::isUserIdValid(const OptionalText& userId) {
    return xel::isUserIdValid(userId.asOptional());
}
Result<void> PushClientManager::checkUserId(const OptionalText& userId) {
    return xel::checkUserId(userId.asOptional());
}
bool PushClientManager::registerApplication(const OptionalText& appId, const OptionalText& apiKey,
                                            const OptionalText& userName, const OptionalText& password) {
    return rooms_->registration.registerApplication(appId.asOptional(), apiKey.asOptional(),
                                                    userName.asOptional(), password.asOptional());
}
bool PushClientManager::registerUser(const OptionalText& userId, const TextList& channels) {
    return rooms_->registration.registerUser(userId.asOptional(), channels.asVector());
}
bool PushClientManager::registerUser(const OptionalText& userId, std::initializer_list<Text> channels) {
    return registerUser(userId, TextList(channels));
}
bool PushClientManager::registerUser(const OptionalText& userId,
                                     PushClientRegistrationHandlerBlock registrationHandler) {
    return registerUser(userId, TextList({}), std::move(registrationHandler));
}
bool PushClientManager::registerUser(const OptionalText& userId, const TextList& channels,
                                     PushClientRegistrationHandlerBlock registrationHandler) {
    if (!registrationHandler) {
        return false;
    }
    const auto rooms = rooms_.enter();
    rooms->fanout.blocks.registrationHandler = std::move(registrationHandler);
    return rooms->registration.registerUser(userId.asOptional(), channels.asVector());
}
bool PushClientManager::registerAgainWithUserId(const OptionalText& userId, const TextList& channels) {
    return rooms_->registration.registerAgainWithUserId(userId.asOptional(), channels.asVector());
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
    return rooms_.enterFromAnyThread()->registrationState.isRegistered();
}
bool PushClientManager::pendingRegisteration() const {
    return rooms_->registrationState.isPending();
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
    return rooms_.enterFromAnyThread()->state.value();
}
std::string_view PushClientManager::connectionStateString() const {
    return xel::connectionStateString(connectionState());
}
const std::optional<std::string>& PushClientManager::brokerClientId() const {
    return rooms_->session.brokerClientId();
}
bool PushClientManager::isServerReachable() const {
    return rooms_.enterFromAnyThread()->lifecycle.isServerReachable();
}
PushClientServerReachabilityNetworkType PushClientManager::serverNetworkType() const {
    return rooms_.enterFromAnyThread()->lifecycle.serverNetworkType();
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
    return rooms_->settings.launchedByUser();
}
void PushClientManager::enqueueWhenSessionIsConnected(std::function<void()> block) {
    rooms_->deferred.enqueueWhenSessionIsConnected(std::move(block));
}

// ---- What the client holds.

std::shared_ptr<const MQTTSession> PushClientManager::brokerSession() const {
    return rooms_->session.current();
}
bool PushClientManager::forceClose() const {
    return rooms_->connection.reconnects().forceClose();
}
double PushClientManager::reconnectTime() const {
    return rooms_->connection.reconnects().reconnectTime();
}
UIBackgroundTaskIdentifier PushClientManager::backgroundTask() const {
    return rooms_->lifecycle.backgroundTask();
}
const std::optional<TopicTable>& PushClientManager::topics() const {
    return rooms_->channels.topics;
}
std::shared_ptr<const TopicTable> PushClientManager::goingToTopics() const {
    return rooms_->subscriptionRequests.goingToTopics();
}
const std::map<std::uint16_t, std::string>& PushClientManager::subscribeMsgIds() const {
    return rooms_->subscriptionRequests.subscribeMsgIds();
}
const std::map<std::uint16_t, std::string>& PushClientManager::unSubscribeMsgIds() const {
    return rooms_->subscriptionRequests.unSubscribeMsgIds();
}
const std::optional<Dictionary>& PushClientManager::notificationSettings() const {
    return rooms_->channels.notificationSettings;
}
std::shared_ptr<LBRESTAdapter> PushClientManager::loopBackAdaptor() {
    return rooms_->settings.loopBackAdaptor();
}

}  // namespace xel
