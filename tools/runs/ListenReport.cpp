#include "tools/runs/ListenReport.h"

#include <algorithm>

#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "tools/output/Output.h"

namespace xel::tools {

namespace {

constexpr std::size_t kTypeWidth = 12;

std::string describeMessage(const PushClientMessage& message) {
    std::string text = '[' + message.channel.value_or("") + "] " + message.messageBody.value_or("");
    text += " (id " + message.id.value_or("none") + ')';
    if (message.notification) {
        text += " notification " + printJSON(*message.notification, JSONLayout::OneLine);
    }
    if (message.data) {
        text += " data " + printJSON(*message.data, JSONLayout::OneLine);
    }
    return text;
}

}  // namespace

void ListenReport::registered(const std::string& user, const std::string& installation) {
    print("registered", user + " as installation " + installation,
          {{"user", user}, {"installation", installation}});
}

void ListenReport::state(std::string_view displayString) {
    print("state", std::string(displayString), {{"state", displayString}});
}

void ListenReport::subscribed(const std::string& channel) {
    print("subscribed", channel, {{"channel", channel}});
}

void ListenReport::message(const PushClientMessage& message) {
    print("message", describeMessage(message), {{"message", message.toDict()}});
}

void ListenReport::duplicateDropped(std::string_view kind, std::string_view id) {
    print("duplicate", std::string(kind) + ' ' + std::string(id) + " was here before: dropped",
          {{"kind", kind}, {"id", id}});
}

void ListenReport::expiredDropped(std::string_view expireTime) {
    print("expired", "message expired at " + std::string(expireTime) + ": dropped",
          {{"expireTime", expireTime}});
}

void ListenReport::event(const EventMessage& event) {
    const Value data = event.data ? Value(*event.data) : Value();
    print("event", event.eventName + " of " + event.deviceId + ' ' + printJSON(data, JSONLayout::OneLine),
          {{"event", event.eventName}, {"deviceId", event.deviceId}, {"data", data}});
}

void ListenReport::delivery(const DeliveryMessage& delivery) {
    print("delivery",
          "message " + delivery.messageId + " reached " + delivery.deliveredUserId + " on " +
              delivery.deliveredDeviceId + " at " + describeDate(delivery.deliveredAt),
          {{"messageId", delivery.messageId},
           {"user", delivery.deliveredUserId},
           {"deviceId", delivery.deliveredDeviceId},
           {"deliveredAt", wholeMillisecondsSince1970(delivery.deliveredAt)}});
}

void ListenReport::failure(std::string_view what, const NSError& error) {
    print("failure", std::string(what) + ": " + error.localizedDescription(),
          {{"what", what}, {"code", error.code}, {"description", error.localizedDescription()}});
}

void ListenReport::print(std::string_view type, const std::string& text, const Dictionary& record) {
    Dictionary line{{"type", type}};
    for (const auto& [key, value] : record) {
        line.set(key, value);
    }
    std::string padded(type);
    padded.resize(std::max(kTypeWidth, padded.size()), ' ');
    printLine(json_, line, padded + text);
}

}  // namespace xel::tools
