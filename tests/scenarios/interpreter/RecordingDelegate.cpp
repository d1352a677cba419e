#include "tests/scenarios/interpreter/RecordingDelegate.h"

#include <array>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/JSONPrinter.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel::scenario {
namespace {

std::string textOf(const std::optional<std::string>& text) {
    return std::string(textOrNull(text));
}

std::string textOf(const std::optional<Dictionary>& dictionary) {
    return dictionary ? printJSON(*dictionary, JSONLayout::OneLine) : "(null)";
}

/// What an error says beside its texts: a text as it is, anything else as JSON.
std::string detailOf(const NSError& error, std::string_view key) {
    const Value* detail = error.userInfo.find(key);
    if (detail == nullptr) {
        return "(null)";
    }
    return detail->asString() != nullptr ? *detail->asString() : printJSON(*detail, JSONLayout::OneLine);
}

std::string textOf(const std::optional<Date>& date) {
    return date ? formatted("%.0f", millisecondsSince1970(*date)) : "(null)";
}

}  // namespace

std::string yesOrNo(bool flag) {
    return flag ? "yes" : "no";
}

std::string networkName(PushClientServerReachabilityNetworkType type) {
    switch (type) {
        case PushClientServerReachabilityNoNetworkFoundType: return "none";
        case PushClientServerReachabilityCelluarNetworkType: return "cellular";
        case PushClientServerReachabilityWifiNetworkType: return "wifi";
    }
    return "?";
}

Fields fieldsOf(const NSError& error) {
    return {{"domain", error.domain},
            {"code", std::to_string(error.code)},
            {"description", error.localizedDescription()},
            {"reason", textOf(error.localizedFailureReason())},
            {"suggestion", textOf(error.localizedRecoverySuggestion())},
            {"topic", detailOf(error, "topic")},
            {"id", detailOf(error, "id")}};
}

Fields fieldsOf(const PushClientMessage& message) {
    return {{"id", textOf(message.id)},
            {"body", textOf(message.messageBody)},
            {"channel", textOf(message.channel)},
            {"sender", textOf(message.senderId)},
            {"sent", textOf(message.sentId)},
            {"data", textOf(message.data)},
            {"notification", textOf(message.notification)},
            {"serverTime", textOf(message.serverTime)},
            {"expireTime", textOf(message.expireTime)},
            {"receivedTime", textOf(message.receivedTime)},
            {"silent", yesOrNo(message.silent)},
            {"live", yesOrNo(message.live)}};
}

void RecordingDelegate::pushClientManagerDidChangedServerConnectionState() {
    hear_({"pushClientManagerDidChangedServerConnectionState", {{"state", state_()}}});
}

void RecordingDelegate::pushClientManagerDidChangeServerReachiability(
    bool reachable, PushClientServerReachabilityNetworkType type) {
    hear_({"pushClientManagerDidChangeServerReachiability",
           {{"reachable", yesOrNo(reachable)}, {"network", networkName(type)}}});
}

void RecordingDelegate::pushClientManagerDidRegisterUser(bool registered) {
    hear_({"pushClientManagerDidRegisterUser", {{"registered", yesOrNo(registered)}, {"state", state_()}}});
}

void RecordingDelegate::pushClientManagerDidFailRegisterUser(const NSError& error) {
    hear_({"pushClientManagerDidFailRegisterUser", fieldsOf(error)});
}

void RecordingDelegate::pushClientManagerDidSentVerificationCode() {
    hear_({"pushClientManagerDidSentVerificationCode", {}});
}

void RecordingDelegate::pushClientManagerDidFailSentVerificationCode(const NSError& error) {
    hear_({"pushClientManagerDidFailSentVerificationCode", fieldsOf(error)});
}

void RecordingDelegate::pushClientManagerDidVerifyUserCode(bool verified) {
    hear_({"pushClientManagerDidVerifyUserCode", {{"verified", yesOrNo(verified)}}});
}

void RecordingDelegate::pushClientManagerDidFailInVerifyUserCode(const NSError& error) {
    hear_({"pushClientManagerDidFailInVerifyUserCode", fieldsOf(error)});
}

void RecordingDelegate::pushClientManagerDidReceivedMessage(const PushClientMessage& message) {
    hear_({"pushClientManagerDidReceivedMessage", fieldsOf(message)});
}

void RecordingDelegate::pushClientManagerUILocalNotificationDidReceivedMessage(
    const PushClientMessage& message) {
    hear_({"pushClientManagerUILocalNotificationDidReceivedMessage", fieldsOf(message)});
}

void RecordingDelegate::pushClientManagerDidReceivedDelivery(const DeliveryMessage& delivery) {
    hear_({"pushClientManagerDidReceivedDelivery",
           {{"message", delivery.messageId},
            {"user", delivery.deliveredUserId},
            {"device", delivery.deliveredDeviceId},
            {"at", formatted("%.0f", millisecondsSince1970(delivery.deliveredAt))}}});
}

void RecordingDelegate::pushClientManagerDidReceivedEventMessage(const EventMessage& event) {
    hear_({"pushClientManagerDidReceivedEventMessage",
           {{"id", textOf(event.id)},
            {"name", event.eventName},
            {"device", event.deviceId},
            {"data", textOf(event.data)}}});
}

void RecordingDelegate::pushClientManagerDidSubscribed(const std::string& channel) {
    hear_({"pushClientManagerDidSubscribed", {{"channel", channel}}});
}

void RecordingDelegate::pushClientManagerDidUnsubscribed(const std::string& channel) {
    hear_({"pushClientManagerDidUnsubscribed", {{"channel", channel}}});
}

void RecordingDelegate::pushClientManagerDidFailInSubscribe(const NSError& error) {
    hear_({"pushClientManagerDidFailInSubscribe", fieldsOf(error)});
}

void RecordingDelegate::pushClientManagerDidFailInUnsubscribe(const NSError& error) {
    hear_({"pushClientManagerDidFailInUnsubscribe", fieldsOf(error)});
}

void RecordingDelegate::pushClientManagerDidFailInPublish(const NSError& error) {
    hear_({"pushClientManagerDidFailInPublish", fieldsOf(error)});
}

void RecordingDelegate::userNotificationCenterDidReceiveNotificationResponse(
    UNUserNotificationCenter& /*center*/, const UNNotificationResponse& response,
    const std::function<void()>& completion) {
    hear_({"userNotificationCenterDidReceiveNotificationResponse", {{"action", response.actionIdentifier}}});
    completion();
}

DelegateOperation delegateOperationNamed(std::string_view name) {
    using Operation = DelegateOperation;
    constexpr std::array kNames = {
        std::pair("pushClientManagerDidChangedServerConnectionState",
                  Operation::DidChangedServerConnectionState),
        std::pair("pushClientManagerDidChangeServerReachiability", Operation::DidChangeServerReachiability),
        std::pair("pushClientManagerDidRegisterUser", Operation::DidRegisterUser),
        std::pair("pushClientManagerDidFailRegisterUser", Operation::DidFailRegisterUser),
        std::pair("pushClientManagerDidSentVerificationCode", Operation::DidSentVerificationCode),
        std::pair("pushClientManagerDidFailSentVerificationCode", Operation::DidFailSentVerificationCode),
        std::pair("pushClientManagerDidVerifyUserCode", Operation::DidVerifyUserCode),
        std::pair("pushClientManagerDidFailInVerifyUserCode", Operation::DidFailInVerifyUserCode),
        std::pair("pushClientManagerDidReceivedMessage", Operation::DidReceivedMessage),
        std::pair("pushClientManagerUILocalNotificationDidReceivedMessage",
                  Operation::UILocalNotificationDidReceivedMessage),
        std::pair("pushClientManagerDidReceivedDelivery", Operation::DidReceivedDelivery),
        std::pair("pushClientManagerDidReceivedEventMessage", Operation::DidReceivedEventMessage),
        std::pair("pushClientManagerDidSubscribed", Operation::DidSubscribed),
        std::pair("pushClientManagerDidUnsubscribed", Operation::DidUnsubscribed),
        std::pair("pushClientManagerDidFailInSubscribe", Operation::DidFailInSubscribe),
        std::pair("pushClientManagerDidFailInUnsubscribe", Operation::DidFailInUnsubscribe),
        std::pair("pushClientManagerDidFailInPublish", Operation::DidFailInPublish),
        std::pair("userNotificationCenterDidReceiveNotificationResponse",
                  Operation::DidReceiveNotificationResponse),
    };
    for (const auto& [known, operation] : kNames) {
        if (name == known) {
            return operation;
        }
    }
    throw ScenarioFailure("no delegate operation is called " + std::string(name));
}

}  // namespace xel::scenario
