#include "sandbox/relay/Topics.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace xel::sandbox {
namespace {

std::string joinTopic(std::string_view app, std::string_view kind, std::string_view first,
                      std::string_view last) {
    std::string topic = "app/";
    topic.append(app).append("/").append(kind).append("/").append(first).append("/").append(last);
    return topic;
}

// The two names of app/{app}/{kind}/{first}/{second}.
std::optional<std::pair<std::string_view, std::string_view>> parseTwoNames(std::string_view app,
                                                                           std::string_view kind,
                                                                           std::string_view topic) {
    const std::vector<std::string_view> segments = splitTopic(topic);
    if (segments.size() != 5 || segments[0] != "app" || segments[1] != app || segments[2] != kind ||
        !isTopicSegment(segments[3]) || !isTopicSegment(segments[4])) {
        return std::nullopt;
    }
    return std::pair(segments[3], segments[4]);
}

}  // namespace

std::vector<std::string_view> splitTopic(std::string_view topic) {
    std::vector<std::string_view> segments;
    while (true) {
        const std::size_t slash = topic.find('/');
        segments.push_back(topic.substr(0, slash));
        if (slash == std::string_view::npos) {
            return segments;
        }
        topic.remove_prefix(slash + 1);
    }
}

bool isTopicSegment(std::string_view text) {
    return !text.empty() && std::none_of(text.begin(), text.end(), [](char c) {
        return c == '/' || c == '+' || c == '#' || static_cast<unsigned char>(c) < 0x20U || c == '\x7F';
    });
}

std::string userTopic(std::string_view app, std::string_view user, std::string_view channel) {
    return joinTopic(app, "user", user, channel);
}

std::string deliveryTopic(std::string_view app, std::string_view sender, std::string_view messageId) {
    return joinTopic(app, "delivery", sender, messageId);
}

std::string eventTopic(std::string_view app, std::string_view name, std::string_view device) {
    return joinTopic(app, "event", name, device);
}

std::optional<PublishRequest> parsePublishTopic(std::string_view app, std::string_view topic) {
    const auto names = parseTwoNames(app, "publish", topic);
    if (!names) {
        return std::nullopt;
    }
    return PublishRequest{std::string(names->first), std::string(names->second)};
}

std::optional<EventTopic> parseEventTopic(std::string_view app, std::string_view topic) {
    const auto names = parseTwoNames(app, "event", topic);
    if (!names) {
        return std::nullopt;
    }
    return EventTopic{std::string(names->first), std::string(names->second)};
}

std::string waitingTopic(std::string_view user, std::string_view device) {
    std::string topic = "service/waiting/";
    topic.append(user).append("/").append(device);
    return topic;
}

std::optional<WaitingDevice> parseWaitingTopic(std::string_view topic) {
    const std::vector<std::string_view> segments = splitTopic(topic);
    if (segments.size() != 4 || segments[0] != "service" || segments[1] != "waiting" ||
        !isTopicSegment(segments[2]) || !isTopicSegment(segments[3])) {
        return std::nullopt;
    }
    return WaitingDevice{std::string(segments[2]), std::string(segments[3])};
}

bool isReceiptName(std::string_view eventName) {
    return eventName == "seen" || eventName == "dismiss";
}

bool isMessageTopic(std::string_view app, std::string_view topic) {
    const std::vector<std::string_view> segments = splitTopic(topic);
    return segments.size() >= 5 && segments[0] == "app" && segments[1] == app && segments[2] == "user";
}

}  // namespace xel::sandbox
