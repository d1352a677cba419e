#include "sandbox/relay/AccessRules.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "sandbox/relay/Topics.h"

namespace xel::sandbox {

std::optional<ClientIdentity> parseClientId(std::string_view clientId) {
    const std::vector<std::string_view> parts = splitTopic(clientId);
    if (parts.size() != 3 || !std::all_of(parts.begin(), parts.end(), isTopicSegment)) {
        return std::nullopt;
    }
    return ClientIdentity{std::string(parts[0]), std::string(parts[1]), std::string(parts[2])};
}

namespace {

// Both sides compare literally: "+" and "#" equal no name, since parseClientId lets no wildcard into one.
bool belongsToApplication(const ClientIdentity& client, const std::vector<std::string_view>& segments) {
    return segments.size() >= 4 && segments[0] == "app" && segments[1] == client.app;
}

}  // namespace

bool mayRead(const ClientIdentity& client, std::string_view topicOrFilter) {
    const std::vector<std::string_view> segments = splitTopic(topicOrFilter);
    if (!belongsToApplication(client, segments)) {
        return false;
    }
    if (segments[2] == "event") {
        return true;
    }
    if (segments.size() < 5) {
        return false;
    }
    if (segments[2] == "user") {
        return segments[3] == client.user || segments[3] == kPublicUser;
    }
    return segments[2] == "delivery" && segments[3] == client.user;
}

bool mayPublish(const ClientIdentity& client, std::string_view topic) {
    if (parsePublishTopic(client.app, topic)) {
        return true;
    }
    const std::optional<EventTopic> event = parseEventTopic(client.app, topic);
    // Where another event names a device, a receipt names a message.
    return event && (isReceiptName(event->name) || event->device == client.device);
}

}  // namespace xel::sandbox
