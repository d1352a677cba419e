#include "sandbox/relay/MessageComposer.h"

#include <array>

#include "sandbox/relay/Topics.h"

namespace xel::sandbox {
namespace {

using TypeTest = bool (*)(const Json&);

struct SenderKey {
    const char* name;
    TypeTest hasRightType;
};

constexpr std::array<SenderKey, 8> kSenderKeys{{
    {"messageBody", [](const Json& value) { return value.is_string(); }},
    {"notification", [](const Json& value) { return value.is_object(); }},
    {"data", [](const Json& value) { return value.is_object(); }},
    // An instant is a number of milliseconds or its decimal text.
    {"expireTime", [](const Json& value) { return value.is_number() || value.is_string(); }},
    {"inApp", [](const Json& value) { return value.is_boolean(); }},
    {"useAsAlert", [](const Json& value) { return value.is_boolean(); }},
    {"silent", [](const Json& value) { return value.is_boolean(); }},
    {"alertText", [](const Json& value) { return value.is_string(); }},
}};

}  // namespace

Json composeMessage(const MessageEnvelope& envelope, const Json& content) {
    const bool isPublic = envelope.user == kPublicUser;
    Json message = Json::object();
    message["id"] = envelope.id;
    for (const SenderKey& key : kSenderKeys) {
        const auto found = content.find(key.name);
        if (found != content.end() && key.hasRightType(*found)) {
            message[key.name] = *found;
        }
    }
    message["userId"] = isPublic ? "*" : envelope.user;
    message["channel"] = isPublic ? envelope.channel : "private/" + envelope.channel;
    message["serverTime"] = envelope.serverTime;
    if (!envelope.senderId.empty()) {
        message["senderId"] = envelope.senderId;
    }
    if (!envelope.sentId.empty()) {
        message["sentId"] = envelope.sentId;
    }
    if (envelope.live) {
        message["live"] = true;
    }
    if (envelope.stateful) {
        message["stateful"] = true;
    }
    return message;
}

std::optional<MessageOrigin> readMessageOrigin(std::string_view payload) {
    // The broker asks for every message it hands over; most of them name no sender and need no parsing.
    if (payload.find("\"senderId\"") == std::string_view::npos) {
        return std::nullopt;
    }
    const std::optional<Json> message = parseJsonObject(payload);
    if (!message) {
        return std::nullopt;
    }
    MessageOrigin origin{findText(*message, "id").value_or(""), findText(*message, "senderId").value_or("")};
    if (!isTopicSegment(origin.id) || !isTopicSegment(origin.senderId)) {
        return std::nullopt;
    }
    return origin;
}

}  // namespace xel::sandbox
