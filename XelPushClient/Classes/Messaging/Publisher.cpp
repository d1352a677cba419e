#include "XelPushClient/Classes/Messaging/Publisher.h"

#include "XelPushClient/Classes/Core/DictionarySerialization.h"
#include "XelPushClient/Classes/Messaging/PublishRules.h"
#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Foundation/UUID.h"

namespace xel {
namespace {

constexpr std::string_view kEverybody = "*";
constexpr std::string_view kIdKey = "id";
constexpr std::string_view kCreatedAtKey = "createdAt";
constexpr std::string_view kReceiptTimeKey = "ts";

}  // namespace

Publisher::Publisher(Surroundings surroundings)
    : surroundings_(surroundings), life_(std::make_shared<Publisher*>(this)) {}

TopicIdentity Publisher::identity() const {
    auto& settings = surroundings_.settings;
    return {settings.appId, settings.userId(), settings.deviceId()};
}

double Publisher::nowInMilliseconds() const {
    return millisecondsSince1970(surroundings_.clock.now());
}

bool Publisher::refuse(std::string_view text) {
    surroundings_.fanout.invokePushClientManagerDidFailInPublish(
        generateInvalidParameterErrorWithMessage(text));
    return false;
}

bool Publisher::handOver(const std::string& topic, const Dictionary& payload, PublishEventOptions options) {
    const auto octets = serializeToDict(payload, surroundings_.log);
    const auto session = surroundings_.connection.brokerSession();
    if (!octets || !session) {
        return false;
    }
    TVRLog(surroundings_.log, "Publishing on topic %@", topic);
    const Result<void> taken = options.live
                                   ? session->publishDataAtMostOnce(*octets, topic, options.stateful)
                                   : session->publishDataAtLeastOnce(*octets, topic, options.stateful);
    if (!taken) {
        TVRLog(surroundings_.log, "The session refused the publication on topic %@ (%d octets)", topic,
               octets->size());
    }
    return taken.isOk();
}

bool Publisher::publish(const PushClientMessage& message) {
    if (const auto refusal = messageRefusal(message)) {
        return refuse(*refusal);
    }
    const std::string channel = channelToPublishOn(message.channel).value();
    const bool isForOne = message.userId && *message.userId != kEverybody;
    return handOver(isForOne ? publishTopic(identity(), *message.userId, channel)
                             : publicPublishTopic(identity(), channel),
                    message.toDict(), {.live = message.live, .stateful = message.stateful});
}

bool Publisher::publish(const std::optional<std::string>& channel, const std::optional<std::string>& text) {
    if (const auto refusal = textRefusal(channel, text)) {
        return refuse(*refusal);
    }
    return publish(PushClientMessage::withMessage(*text, std::string(kEverybody), channel));
}

bool Publisher::publish(const std::optional<std::string>& userId, const std::optional<std::string>& channel,
                        const std::optional<std::string>& text) {
    if (const auto refusal = textToUserRefusal(userId, channel, text)) {
        return refuse(*refusal);
    }
    return publish(PushClientMessage::withMessage(*text, userId, channel));
}

bool Publisher::publishEvent(const std::string& eventName, const std::optional<Dictionary>& data,
                             PublishEventOptions options) {
    const auto sender = identity();
    if (const auto refusal = eventRefusal(sender, eventName, data)) {
        return refuse(*refusal);
    }
    Dictionary payload = *data;
    if (!payload.contains(kCreatedAtKey)) {
        payload.set(std::string(kCreatedAtKey), nowInMilliseconds());
    }
    if (!payload.contains(kIdKey)) {
        payload.set(std::string(kIdKey), makeUUID());
    }
    if (!handOver(eventTopic(sender, eventName, *sender.deviceId), payload, options)) {
        retryWhenConnected(eventName, std::move(payload), options);
    }
    return true;
}

void Publisher::retryWhenConnected(const std::string& eventName, Dictionary payload,
                                   PublishEventOptions options) {
    // Deferred work runs once for each report of a connect, and a refused publication causes no report: an
    // event that can never be sent is looked at once a connect and no oftener.
    surroundings_.deferred.enqueueWhenSessionIsConnected(
        [life = std::weak_ptr(life_), eventName, payload = std::move(payload), options] {
            if (const auto self = life.lock()) {
                (*self)->publishEvent(eventName, payload, options);
            }
        });
}

bool Publisher::markAsRead(const std::optional<std::string>& messageId) {
    return publishReceipt(seenTopic(identity(), messageId));
}

bool Publisher::messageDismissed(const std::optional<std::string>& messageId) {
    return publishReceipt(dismissTopic(identity(), messageId));
}

bool Publisher::publishReceipt(const std::string& topic) {
    return handOver(topic, {{std::string(kReceiptTimeKey), formatted("%f", nowInMilliseconds())}}, {});
}

}  // namespace xel
