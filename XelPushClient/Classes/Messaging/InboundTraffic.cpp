#include "XelPushClient/Classes/Messaging/InboundTraffic.h"

#include <new>
#include <utility>

#include "XelPushClient/Classes/Messaging/PublicationErrors.h"
#include "XelPushClient/Classes/Models/DeliveryMessage.h"
#include "XelPushClient/Classes/Models/EventMessage.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Platform/Diagnostics.h"

namespace xel {
namespace {

constexpr std::size_t kEventTopicSegments = 5;
constexpr std::size_t kEventNameSegment = 3;
constexpr std::size_t kEventDeviceSegment = 4;
constexpr std::string_view kReservedBodyPrefix = "BIBB";

Arrival arrivalOf(const MQTTPublication& publication) {
    return publication.isRepeat ? Arrival::Repeat : Arrival::First;
}

}  // namespace

// Every event of the session holds the client on its way in: a host may destroy it inside a callback.

InboundTraffic::InboundTraffic(Surroundings surroundings)
    : surroundings_(surroundings), wayIn_(surroundings.life.wayInto(*this)) {}

InboundTraffic::~InboundTraffic() = default;

// ---- The connection.

void InboundTraffic::handleEvent(MQTTSession& /*session*/, MQTTSessionEvent event,
                                 const std::optional<NSError>& error) {
    const auto held = wayIn_.hold();
    if (event != MQTTSessionEvent::Connected) {
        // Before anybody may connect anew: the packet identifiers are given out again.
        surroundings_.subscriptionRequests.forgetUnanswered();
    }
    surroundings_.connection.handleEvent(event, error);
}

// ---- A turn.

void InboundTraffic::sessionWillDeliver(MQTTSession& /*session*/) {
    const auto held = wayIn_.hold();
    surroundings_.messageIds.beginTurn();
}

// Without memory a publication may come to nothing on its way to the host. It is not taken then, and leaves
// no id behind by which it would be a duplicate when it comes again.
void InboundTraffic::newMessage(MQTTSession& /*session*/, const MQTTPublication& publication) {
    const auto held = wayIn_.hold();
    surroundings_.messageIds.beginArrival();
    surroundings_.fanout.beginArrival();
    try {
        handle(publication);
    } catch (const std::bad_alloc&) {
        if (surroundings_.fanout.wasArrivalReported()) {
            throw;  // the host has it, or threw itself
        }
        surroundings_.messageIds.forgetArrival();
        throw MQTTPublicationNotTaken();
    }
}

void InboundTraffic::handle(const MQTTPublication& publication) {
    const auto& topic = topicReader_.read(publication.topic, surroundings_.settings.appId());
    switch (topic.kind) {
        case PublicationKind::DeliveryReport: handleDelivery(publication); return;
        case PublicationKind::Event: handleEventMessage(publication); return;
        // The channel as a copy: a host may have another publication handled before this one is done.
        case PublicationKind::Message: handlePushMessage(publication, topic.channel); return;
    }
}

void InboundTraffic::handleDelivery(const MQTTPublication& publication) {
    const auto delivery = DeliveryMessage::fromPublication(publication.data, publication.topic);
    if (!delivery) {
        tellDropped(PublicationDropReason::Unreadable, publication.topic);
        return;
    }
    TVRLog(surroundings_.log, "Got delivery message %@: %@, %@, %@", delivery->messageId,
           delivery->deliveredUserId, delivery->deliveredDeviceId, delivery->deliveredAt);
    surroundings_.fanout.callbackNewDeliveryReceived(*delivery);
}

void InboundTraffic::handleEventMessage(const MQTTPublication& publication) {
    const auto segments = splitString(publication.topic, "/");
    if (segments.size() != kEventTopicSegments) {
        tellDropped(PublicationDropReason::Unreadable, publication.topic);
        return;
    }
    const EventMessage event{std::string(segments[kEventNameSegment]),
                             std::string(segments[kEventDeviceSegment]), dictionaryFrom(publication.data)};
    if (event.id && surroundings_.messageIds.storeMessageId(*event.id, arrivalOf(publication))) {
        TVRLog(surroundings_.log, "Ignore duplicate event id %@", event.id);
        tellDropped(PublicationDropReason::Duplicate, publication.topic, event.id);
        return;
    }
    TVRLog(surroundings_.log, "Got event ('%@') , deviceId : %@, data : %@", event.eventName, event.deviceId,
           event.data);
    surroundings_.fanout.callBackNewEventMessageReceived(event);
}

void InboundTraffic::handlePushMessage(const MQTTPublication& publication,
                                       std::optional<std::string> channel) {
    const Date now = surroundings_.clock.now();
    const std::shared_ptr<const PushClientMessage> message =
        PushClientMessage::fromPayload(publication.data, surroundings_.json, std::move(channel), now);
    if (!message) {
        tellDropped(PublicationDropReason::Unreadable, publication.topic);
        return;
    }
    if (surroundings_.log.isOn()) {
        // The dictionary is made for this line alone.
        TVRLog(surroundings_.log, "Got push %@", message->toDict());
    }
    if (message->id && surroundings_.messageIds.storeMessageId(*message->id, arrivalOf(publication))) {
        TVRLog(surroundings_.log, "Ignore duplicate message id %@", message->id);
        tellDropped(PublicationDropReason::Duplicate, publication.topic, message->id);
        return;
    }
    // The id of a message that is dropped below stays among the known ones: its next copy is a duplicate.
    if (message->expireTime && *message->expireTime < now) {
        TVRLog(surroundings_.log, "Ignore expired message %@", *message->expireTime);
        tellDropped(PublicationDropReason::Expired, publication.topic, message->id, message->expireTime);
        return;
    }
    if (message->messageBody && message->messageBody->starts_with(kReservedBodyPrefix)) {
        TVRLog(surroundings_.log, "Ignore special backdoor message");
        tellDropped(PublicationDropReason::Reserved, publication.topic, message->id);
        return;
    }
    if (message->data) {
        surroundings_.remoteConfiguration.backdoorConfigs(*message->data, message->channel);
    }
    surroundings_.delivery.deliver(message);
}

std::optional<Dictionary> InboundTraffic::dictionaryFrom(std::string_view payload) const {
    auto document = surroundings_.json.JSONObjectWithData(payload);
    Dictionary* const members = document ? document.value().asDictionary() : nullptr;
    return members != nullptr ? std::optional(std::move(*members)) : std::nullopt;
}

void InboundTraffic::tellDropped(PublicationDropReason reason, std::string_view topic,
                                 const std::optional<std::string>& id, std::optional<Date> expireTime) const {
    recordDiagnostics(surroundings_.diagnostics, [&] {
        return PublicationDropped{.direction = PublicationDirection::Inbound,
                                  .kind = kindOfPublicationOn(topic, surroundings_.settings.appId()),
                                  .reason = reason,
                                  .topic = std::string(topic),
                                  .id = id,
                                  .expireTime = expireTime};
    });
}

void InboundTraffic::sessionDidDeliver(MQTTSession& /*session*/, std::function<void()> acknowledge) {
    const auto held = wayIn_.hold();
    surroundings_.messageIds.closeTurn(std::move(acknowledge));
}

// ---- Answers, and what the session gives up.

void InboundTraffic::subAckReceived(MQTTSession& /*session*/, std::uint16_t msgID,
                                    std::span<const std::uint8_t> grantedQoss) {
    const auto held = wayIn_.hold();
    surroundings_.subscriptionAnswers.subAckReceived(msgID, grantedQoss);
}

void InboundTraffic::unsubAckReceived(MQTTSession& /*session*/, std::uint16_t msgID) {
    const auto held = wayIn_.hold();
    surroundings_.subscriptionAnswers.unsubAckReceived(msgID);
}

void InboundTraffic::topicWasRefused(MQTTSession& /*session*/, std::string_view topic) {
    const auto held = wayIn_.hold();
    // It stays among the wanted ones, so that the next connect asks for it again.
    surroundings_.subscribedTopics.removeTopicFromUserDefault(topic);
}

void InboundTraffic::publicationDidFail(MQTTSession& /*session*/, std::string_view data,
                                        std::string_view topic, const NSError& error) {
    const auto held = wayIn_.hold();
    recordDiagnostics(surroundings_.diagnostics, [&] {
        return PublicationDropped{.direction = PublicationDirection::Outbound,
                                  .kind = kindOfPublicationOn(topic, surroundings_.settings.appId()),
                                  .reason = PublicationDropReason::GivenUp,
                                  .topic = std::string(topic),
                                  .error = diagnosticError(error)};
    });
    surroundings_.fanout.invokePushClientManagerDidFailInPublish(
        makePublicationError(topic, dictionaryFrom(data).value_or(Dictionary()), error));
}

void InboundTraffic::subscriptionDidFail(MQTTSession& /*session*/, std::string_view topic,
                                         const NSError& error) {
    const auto held = wayIn_.hold();
    const MQTTRefusedTopic refused{std::string(topic), error};
    surroundings_.subscriptionAnswers.giveUp({&refused, 1});
}

void InboundTraffic::unsubscriptionDidFail(MQTTSession& /*session*/, std::string_view topic,
                                           const NSError& error) {
    const auto held = wayIn_.hold();
    surroundings_.subscriptionAnswers.unsubscriptionFailed(topic, error);
}

}  // namespace xel
