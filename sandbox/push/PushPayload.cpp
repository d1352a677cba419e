#include "sandbox/push/PushPayload.h"

#include <cstddef>
#include <utility>

#include "sandbox/push/WebPushEncryption.h"

namespace xel::sandbox {
namespace {

using TypeTest = bool (*)(const Json&);

bool isText(const Json& value) {
    return value.is_string();
}

void copy(const Json& from, Json& to, const char* key, TypeTest hasRightType) {
    const auto found = from.find(key);
    if (found != from.end() && hasRightType(*found)) {
        to[key] = *found;
    }
}

Json notificationOf(const Json& message) {
    const auto found = message.find("notification");
    return found != message.end() && found->is_object() ? *found : Json::object();
}

bool isSilent(const Json& message) {
    const auto found = message.find("silent");
    return found != message.end() && found->is_boolean() && found->get<bool>();
}

// As the client shows it when it gets the message itself.
Json composeAlert(const Json& message, const Json& notification) {
    Json alert = Json::object();
    copy(notification, alert, "title", isText);
    copy(notification, alert, "subtitle", isText);
    copy(notification, alert, "body", isText);
    if (const auto text = message.find("messageBody");
        !alert.contains("body") && text != message.end() && text->is_string()) {
        alert["body"] = *text;
    }
    return alert;
}

Json composeAps(const Json& message, const Json& notification) {
    Json aps = Json::object();
    if (Json alert = composeAlert(message, notification); !isSilent(message) && !alert.empty()) {
        aps["alert"] = std::move(alert);
        copy(notification, aps, "badge", [](const Json& value) { return value.is_number_integer(); });
        copy(notification, aps, "sound", isText);
        copy(notification, aps, "category", isText);
    } else {
        aps["content-available"] = 1;
    }
    return aps;
}

bool fits(const Json& payload) {
    return printJson(payload).size() <= kLargestPushText;
}

// Cuts a text to a length in bytes, between two characters of UTF-8.
void cut(Json& text, std::size_t length) {
    auto bytes = text.get<std::string>();
    if (bytes.size() <= length) {
        return;
    }
    const auto isInside = [&] { return (static_cast<unsigned char>(bytes[length]) & 0xC0U) == 0x80U; };
    while (length > 0 && isInside()) {
        --length;
    }
    bytes.resize(length);
    text = bytes;
}

void cutAlert(Json& payload, std::size_t length) {
    if (const auto alert = payload["aps"].find("alert"); alert != payload["aps"].end()) {
        for (auto& [key, text] : alert->items()) {
            cut(text, length);
        }
    }
}

}  // namespace

std::string composePushPayload(const Json& message) {
    const Json notification = notificationOf(message);
    Json payload{{"aps", composeAps(message, notification)}};
    copy(notification, payload, "actions", [](const Json& value) { return value.is_array(); });
    copy(notification, payload, "mediaUrl", isText);
    copy(notification, payload, "mediaType", isText);
    copy(message, payload, "id", isText);
    copy(message, payload, "channel", isText);
    copy(message, payload, "data", [](const Json& value) { return value.is_object(); });
    for (const char* key : {"data", "actions", "mediaUrl", "mediaType"}) {
        if (!fits(payload)) {
            payload.erase(key);
        }
    }
    // Halved until it fits: a character may take six bytes once it is escaped.
    for (std::size_t length = kLargestPushText; !fits(payload) && length > 0; length /= 2) {
        cutAlert(payload, length);
    }
    return fits(payload) ? printJson(payload) : R"({"aps":{"content-available":1}})";
}

}  // namespace xel::sandbox
