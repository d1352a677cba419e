#include "XelPushClient/Classes/Messaging/Publisher.h"

#include <cstdint>
#include <utility>

#include "XelPushClient/Classes/Core/DictionarySerialization.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Classes/Messaging/PublicationErrors.h"
#include "XelPushClient/Classes/Messaging/PublishRules.h"
#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Foundation/UUID.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Platform/Diagnostics.h"

namespace xel {
namespace {

constexpr std::string_view kEverybody = "*";
constexpr std::string_view kIdKey = "id";
constexpr std::string_view kCreatedAtKey = "createdAt";
constexpr std::string_view kReceiptTimeKey = "ts";

}  // namespace

Publisher::Publisher(Surroundings surroundings, const MQTTSessionOptions& limits)
    : surroundings_(surroundings),
      limits_(limits),
      waiting_(limits),
      wayIn_(surroundings.life.wayInto(*this)) {}

TopicIdentity Publisher::identity() const {
    auto& settings = surroundings_.settings;
    return {settings.appId(), settings.userId(), settings.deviceId()};
}

double Publisher::nowInMilliseconds() const {
    return millisecondsSince1970(surroundings_.clock.now());
}

bool Publisher::refuse(std::string_view text) {
    surroundings_.fanout.invokePushClientManagerDidFailInPublish(
        generateInvalidParameterErrorWithMessage(text));
    return false;
}

bool Publisher::fail(const std::string& topic, const Dictionary& payload, const NSError& reason) {
    surroundings_.fanout.invokePushClientManagerDidFailInPublish(
        makePublicationError(topic, payload, reason));
    return false;
}

Result<void> Publisher::checkSendable(const std::string& topic, const std::string& octets,
                                      PublishEventOptions options) const {
    if (!isSendableTopicName(topic)) {
        return makeNotSendableError(topic);
    }
    constexpr std::uint16_t kSomePacketId = 1;
    const std::size_t size =
        publishPacketSize(topic, octets, options.live ? std::uint16_t{0} : kSomePacketId);
    if (size > limits_.maxPacketSize) {
        return makeTooLargeError(topic, size, limits_.maxPacketSize);
    }
    return {};
}

Result<void> Publisher::handOver(const std::string& topic, const Octets& octets,
                                 PublishEventOptions options) {
    if (!octets) {
        return generateInvalidParameterErrorWithMessage("JSON cannot carry the payload");
    }
    const auto session = surroundings_.session.current();
    if (!session) {
        const Result<void> sendable = checkSendable(topic, *octets, options);
        return sendable ? makeError(kPushClientErrorDomain, kPushClientNotInitializedErrorCode,
                                    "there is no session with the broker yet")
                        : sendable.error();
    }
    TVRLog(surroundings_.log, "Publishing on topic %@", topic);
    const bool isDropped = options.live && !session->sendsAtMostOnce();
    Result<void> taken = options.live ? session->publishDataAtMostOnce(*octets, topic, options.stateful)
                                      : session->publishDataAtLeastOnce(*octets, topic, options.stateful);
    if (!taken) {
        TVRLog(surroundings_.log, "The session refused the publication on topic %@ (%d octets)", topic,
               octets->size());
    }
    if (taken && isDropped) {
        // The session has taken it without an error, so this is the place to tell.
        recordDiagnostics(surroundings_.diagnostics, [&] {
            return PublicationDropped{.direction = PublicationDirection::Outbound,
                                      .kind = kindOfPublicationOn(topic, surroundings_.settings.appId()),
                                      .reason = session->status() == MQTTSessionStatus::Connected
                                                    ? PublicationDropReason::OneAtATime
                                                    : PublicationDropReason::NotConnected,
                                      .topic = topic};
        });
    }
    return taken;
}

bool Publisher::publishOnce(const std::string& topic, const Dictionary& payload,
                            PublishEventOptions options) {
    const auto taken = handOver(topic, serializeToDict(payload, surroundings_.log), options);
    if (!taken && saysTopicIsNotSendable(taken.error())) {
        return fail(topic, payload, taken.error());
    }
    return taken.isOk();
}

bool Publisher::publish(const PushClientMessage& message) {
    if (const auto refusal = messageRefusal(message)) {
        return refuse(*refusal);
    }
    const std::string channel = channelToPublishOn(message.channel).value();
    const bool isForOne = message.userId && *message.userId != kEverybody;
    return publishOnce(isForOne ? publishTopic(identity(), *message.userId, channel)
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
    return publishEvent(eventName, data, options, nullptr);
}

bool Publisher::publishEvent(const std::string& eventName, const std::optional<Dictionary>& data,
                             PublishEventOptions options, WaitingEvents::Place place) {
    const auto sender = identity();
    if (const auto refusal = eventRefusal(sender, eventName, data)) {
        return refuse(*refusal);
    }
    // Completed before the first try: every further one has the same id, by which an event is kept once.
    Dictionary payload = *data;
    if (!payload.contains(kCreatedAtKey)) {
        payload.set(kCreatedAtKey, nowInMilliseconds());
    }
    if (!payload.contains(kIdKey)) {
        payload.set(kIdKey, makeUUID());
    }
    const auto topic = eventTopic(sender, eventName, *sender.deviceId);
    const auto octets = serializeToDict(payload, surroundings_.log);
    const auto taken = handOver(topic, octets, options);
    if (taken) {
        return true;
    }
    // Kept for later it would be refused at every connect, and the host would never hear.
    if (saysItCanNeverBeSent(taken.error())) {
        return fail(topic, payload, taken.error());
    }
    // One that is tried again has kept its place, and is not counted twice.
    if (!place) {
        auto newPlace = waiting_.takePlace(octets ? octets->size() : 0);
        if (!newPlace) {
            return fail(topic, payload, newPlace.error());
        }
        place = std::move(newPlace).value();
    }
    retryWhenConnected(eventName, std::move(payload), options, std::move(place));
    return true;
}

void Publisher::retryWhenConnected(const std::string& eventName, Dictionary payload,
                                   PublishEventOptions options, WaitingEvents::Place place) {
    // Deferred work runs once for each report of a connect, and a refused publication causes no report: an
    // event that JSON cannot carry is looked at once a connect and no oftener.
    surroundings_.deferred.enqueueForThisIdentity(
        [wayIn = wayIn_, eventName, payload = std::move(payload), options, place = std::move(place)] {
            if (const auto self = wayIn.hold()) {
                self->publishEvent(eventName, payload, options, place);
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
    return publishOnce(topic, {{kReceiptTimeKey, formatted("%f", nowInMilliseconds())}}, {});
}

}  // namespace xel
