#include "XelPushClient/Classes/ClientRooms.h"
#include "XelPushClient/Classes/Core/DictionarySerialization.h"
#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Classes/Topics/NameChecks.h"
#include "XelPushClient/Classes/Topics/NameRules.h"

namespace xel {

// ---- Channels and events.

bool PushClientManager::isChannelValid(const Text& channel) {
    return xel::isChannelValid(channel.string());
}
Result<void> PushClientManager::checkChannel(const Text& channel) {
    return xel::checkChannel(channel.string());
}
void PushClientManager::subscribe(const Text& channel, SubscribeOptions options) {
    rooms_->subscriptions.subscribe({channel.string()}, options);
}
void PushClientManager::subscribeList(const TextList& channels, SubscribeOptions options) {
    rooms_->subscriptions.subscribe(channels.asVector(), options);
}
void PushClientManager::unsubscribe(const Text& channel) {
    rooms_->subscriptions.unsubscribe(channel.string());
}
void PushClientManager::subscribeEvent(const Text& eventName, const EventSubscribeOptions& options) {
    rooms_->subscriptions.subscribeEvent(eventName.string(), options);
}
void PushClientManager::subscribeEvent(const Text& eventName, const OptionalText& installationId,
                                       SubscribeOptions options) {
    subscribeEvent(eventName, {.installationId = installationId.asOptional(), .live = options.live});
}
void PushClientManager::unsubscribeEvent(const Text& eventName, const OptionalText& installationId) {
    rooms_->subscriptions.unsubscribeEvent(eventName.string(), installationId.asOptional());
}
std::vector<std::string> PushClientManager::deviceSubscriptions() {
    return rooms_->channels.deviceSubscriptions();
}
void PushClientManager::updateNotificationSettings(const Text& channel, const Text& sound, bool alert) {
    rooms_->channels.updateNotificationSettings(channel.string(), sound.string(), alert);
}
std::optional<Dictionary> PushClientManager::notificationSettingsFor(const Text& channel) const {
    return rooms_->channels.notificationSettingsFor(channel.string());
}

// ---- Publishing.

bool PushClientManager::publish(const PushClientMessage& message) {
    return rooms_->publisher.publish(message);
}
bool PushClientManager::publish(const OptionalText& channel, const OptionalText& withText) {
    return rooms_->publisher.publish(channel.asOptional(), withText.asOptional());
}
bool PushClientManager::publish(const OptionalText& userId, const OptionalText& toChannel,
                                const OptionalText& withText) {
    return rooms_->publisher.publish(userId.asOptional(), toChannel.asOptional(), withText.asOptional());
}
bool PushClientManager::publishEvent(const Text& eventName, const OptionalDictionary& data,
                                     PublishEventOptions options) {
    return rooms_->publisher.publishEvent(eventName.string(), data.asOptional(), options);
}
bool PushClientManager::markAsRead(const OptionalText& messageId) {
    return rooms_->publisher.markAsRead(messageId.asOptional());
}
bool PushClientManager::messageDismissed(const OptionalText& messageId) {
    return rooms_->publisher.messageDismissed(messageId.asOptional());
}
std::optional<std::string> PushClientManager::serializeToDict(const OptionalDictionary& dictionary) const {
    return xel::serializeToDict(dictionary.asOptional(), rooms_->log);
}
std::optional<std::string> PushClientManager::toJsonString(const OptionalDictionary& dictionary) const {
    return xel::toJsonString(dictionary.asOptional(), rooms_->log);
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

bool PushClientManager::requestVerificationCode(const OptionalText& userId, const OptionalText& /*media*/) {
    return rooms_->verification.requestVerificationCode(userId.asOptional());
}
bool PushClientManager::requestVerificationCode(const OptionalText& userId,
                                                PushClientVerificationHandlerBlock completionBlock) {
    return requestVerificationCode(userId, std::nullopt, std::move(completionBlock));
}
bool PushClientManager::requestVerificationCode(const OptionalText& userId, const OptionalText& /*media*/,
                                                PushClientVerificationHandlerBlock completionBlock) {
    const auto rooms = rooms_.enter();
    rooms->fanout.blocks.verificationHandler = std::move(completionBlock);
    return rooms->verification.requestVerificationCode(userId.asOptional());
}
bool PushClientManager::verifyUserCode(const OptionalText& userId, const OptionalText& userCode) {
    return rooms_->verification.verifyUserCode(userId.asOptional(), userCode.asOptional());
}
bool PushClientManager::verifyUserCode(const OptionalText& userId, const OptionalText& userCode,
                                       PushClientVerifyUserCodeHandlerBlock completionBlock) {
    const auto rooms = rooms_.enter();
    rooms->fanout.blocks.verifiyUserCodeHandler = std::move(completionBlock);
    return rooms->verification.verifyUserCode(userId.asOptional(), userCode.asOptional());
}
void PushClientManager::addTag(const OptionalText& name, std::function<void(std::int64_t count)> success,
                               const std::function<void(const NSError& error)>& failure) {
    rooms_->tags.addTag(name.asOptional(), std::move(success), failure);
}
void PushClientManager::removeTag(const OptionalText& name, std::function<void(std::int64_t count)> success,
                                  const std::function<void(const NSError& error)>& failure) {
    rooms_->tags.removeTag(name.asOptional(), std::move(success), failure);
}
void PushClientManager::requestMethod(const OptionalText& method, const Text& path,
                                      const OptionalDictionary& parameters,
                                      std::function<void(const Value& response)> success,
                                      const std::function<void(const NSError& error)>& failure) {
    rooms_->requests.requestMethod(method.asOptional(), path.string(), parameters.asOptional(),
                                   std::move(success), failure);
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
