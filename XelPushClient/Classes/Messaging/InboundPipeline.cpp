#include "XelPushClient/Classes/Messaging/InboundPipeline.h"

#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::size_t kEventTopicSegments = 5;
constexpr std::size_t kEventNameSegment = 3;
constexpr std::size_t kEventDeviceSegment = 4;
constexpr std::string_view kReservedBodyPrefix = "BIBB";

}  // namespace

InboundPipeline::InboundPipeline(Surroundings surroundings) : surroundings_(surroundings) {}

void InboundPipeline::handleNewMessage(std::string_view payload, std::string_view topic, Arrival arrival) {
    if (isDeliveryTopic(topic, surroundings_.settings.appId())) {
        handleDelivery(payload, topic);
    } else if (isEventTopic(topic, surroundings_.settings.appId())) {
        handleEvent(payload, topic, arrival);
    } else {
        handlePushMessage(payload, topic, arrival);
    }
}

void InboundPipeline::handleDelivery(std::string_view payload, std::string_view topic) {
    const auto delivery = DeliveryMessage::fromPublication(payload, topic);
    if (!delivery) {
        return;
    }
    TVRLog(surroundings_.log, "Got delivery message %@: %@, %@, %@", delivery->messageId,
           delivery->deliveredUserId, delivery->deliveredDeviceId, delivery->deliveredAt);
    surroundings_.observer.deliveryArrived(*delivery);
}

void InboundPipeline::handleEvent(std::string_view payload, std::string_view topic, Arrival arrival) {
    const auto segments = splitString(topic, "/");
    if (segments.size() != kEventTopicSegments) {
        return;
    }
    std::optional<Dictionary> data;
    if (auto parsed = surroundings_.json.JSONObjectWithData(payload);
        parsed && parsed.value().asDictionary()) {
        data = std::move(*parsed.value().asDictionary());
    }
    const EventMessage event{std::string(segments[kEventNameSegment]),
                             std::string(segments[kEventDeviceSegment]), std::move(data)};
    if (event.id && surroundings_.messageIds.storeMessageId(*event.id, arrival)) {
        TVRLog(surroundings_.log, "Ignore duplicate event id %@", event.id);
        return;
    }
    TVRLog(surroundings_.log, "Got event ('%@') , deviceId : %@, data : %@", event.eventName, event.deviceId,
           event.data);
    surroundings_.observer.eventArrived(event);
}

void InboundPipeline::handlePushMessage(std::string_view payload, std::string_view topic, Arrival arrival) {
    const std::shared_ptr<const PushClientMessage> message = PushClientMessage::fromPayload(
        payload, surroundings_.json, getChannelFromTopic(topic), surroundings_.clock.now());
    if (!message) {
        return;
    }
    if (surroundings_.log.isOn()) {
        TVRLog(surroundings_.log, "Got push %@", message->toDict());
    }
    if (message->id && surroundings_.messageIds.storeMessageId(*message->id, arrival)) {
        TVRLog(surroundings_.log, "Ignore duplicate message id %@", message->id);
        return;
    }
    if (isExpired(*message)) {
        TVRLog(surroundings_.log, "Ignore expired message %@", *message->expireTime);
        return;
    }
    if (message->messageBody && message->messageBody->starts_with(kReservedBodyPrefix)) {
        TVRLog(surroundings_.log, "Ignore special backdoor message");
        return;
    }
    if (message->data) {
        surroundings_.remoteConfiguration.backdoorConfigs(*message->data, message->channel);
    }
    surroundings_.observer.messageArrived(message);
}

bool InboundPipeline::isExpired(const PushClientMessage& message) const {
    return message.expireTime && *message.expireTime < surroundings_.clock.now();
}

}  // namespace xel
