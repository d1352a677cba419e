#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Classes/Core/DictionarySerialization.h"
#include "XelPushClient/Classes/PushClientManager.h"

namespace xel {

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
                                                const std::optional<std::string>& /*media*/,
                                                PushClientVerificationHandlerBlock completionBlock) {
    const auto rooms = rooms_.enter();
    rooms->fanout.blocks.verificationHandler = std::move(completionBlock);
    return rooms->verification.requestVerificationCode(userId);
}
bool PushClientManager::verifyUserCode(const std::optional<std::string>& userId,
                                       const std::optional<std::string>& userCode) {
    return rooms_->verification.verifyUserCode(userId, userCode);
}
bool PushClientManager::verifyUserCode(const std::optional<std::string>& userId,
                                       const std::optional<std::string>& userCode,
                                       PushClientVerifyUserCodeHandlerBlock completionBlock) {
    const auto rooms = rooms_.enter();
    rooms->fanout.blocks.verifiyUserCodeHandler = std::move(completionBlock);
    return rooms->verification.verifyUserCode(userId, userCode);
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

}  // namespace xel
