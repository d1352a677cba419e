#include "XelPushClient/Classes/Topics/TopicScheme.h"

#include <array>

#include "XelPushClient/Classes/Topics/NameRules.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Platform/Diagnostics.h"

namespace xel {
namespace {

constexpr std::string_view kUserTopic = "app/%@/user/%@/%@";
constexpr std::string_view kPublicTopic = "app/%@/user/public/%@";
constexpr std::string_view kDeliveryTopic = "app/%@/delivery/%@/#";
constexpr std::string_view kEventTopic = "app/%@/event/%@/%@";
constexpr std::string_view kPublishTopic = "app/%@/publish/%@/%@";
constexpr std::string_view kPublicPublishTopic = "app/%@/publish/public/%@";
constexpr std::string_view kSeenTopic = "app/%@/event/seen/%@";
constexpr std::string_view kDismissTopic = "app/%@/event/dismiss/%@";

constexpr std::size_t kKind = 2;
constexpr std::size_t kScope = 3;
constexpr std::size_t kName = 4;

/// The first five segments of a topic, which is all that a channel is made of.
std::optional<std::array<std::string_view, 5>> firstSegments(std::string_view topic) {
    std::array<std::string_view, 5> segments;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        const auto end = topic.find('/');
        const bool isLast = i + 1 == segments.size();
        if (end == std::string_view::npos && !isLast) {
            return std::nullopt;
        }
        segments[i] = topic.substr(0, end);
        topic.remove_prefix(end == std::string_view::npos ? topic.size() : end + 1);
    }
    return segments;
}

bool isComplete(const TopicIdentity& identity) {
    return !isMissingOrBlank(identity.userId) && !isMissingOrBlank(identity.appId);
}

/// The channel of an event's topic: the bare name for every installation, or with the one installation.
std::string eventChannel(std::string_view eventName, std::string_view installationId) {
    return installationId == "+" ? std::string(eventName) : formatted("%@/%@", eventName, installationId);
}

}  // namespace

std::optional<std::string> brokerTopicForDevice(const TopicIdentity& identity) {
    if (!isComplete(identity)) {
        return std::nullopt;
    }
    return formatted(kUserTopic, identity.appId, identity.userId, identity.deviceId);
}

std::optional<std::string> brokerTopic(const TopicIdentity& identity) {
    if (!isComplete(identity)) {
        return std::nullopt;
    }
    return formatted(kUserTopic, identity.appId, identity.userId, "default");
}

std::optional<std::string> publicTopic(const TopicIdentity& identity) {
    if (!isComplete(identity)) {
        return std::nullopt;
    }
    return formatted(kPublicTopic, identity.appId, "default");
}

std::optional<std::string> deliveryTopic(const TopicIdentity& identity) {
    if (!isComplete(identity)) {
        return std::nullopt;
    }
    return formatted(kDeliveryTopic, identity.appId, identity.userId);
}

std::optional<std::string> liveTopic(const TopicIdentity& identity) {
    if (!isComplete(identity)) {
        return std::nullopt;
    }
    return formatted(kPublicTopic, identity.appId, "live");
}

std::string eventTopic(const TopicIdentity& identity, std::string_view eventName) {
    return eventTopic(identity, eventName, "+");
}

std::string eventTopic(const TopicIdentity& identity, std::string_view eventName,
                       std::string_view installationId) {
    return formatted(kEventTopic, identity.appId, eventName, installationId);
}

std::string publishTopic(const TopicIdentity& identity, std::string_view recipientUserId,
                         std::string_view channel) {
    return formatted(kPublishTopic, identity.appId, recipientUserId, channel);
}

std::string publicPublishTopic(const TopicIdentity& identity, std::string_view channel) {
    return formatted(kPublicPublishTopic, identity.appId, channel);
}

std::string seenTopic(const TopicIdentity& identity, const std::optional<std::string>& messageId) {
    return formatted(kSeenTopic, identity.appId, messageId);
}

std::string dismissTopic(const TopicIdentity& identity, const std::optional<std::string>& messageId) {
    return formatted(kDismissTopic, identity.appId, messageId);
}

Result<std::string> generateTopicWithChannel(const TopicIdentity& identity, std::string_view channel) {
    const auto segments = splitString(channel, "/");
    if (segments.size() < 3 && isChannelValid(channel)) {
        if (segments.size() == 1) {
            return formatted(kPublicTopic, identity.appId, segments[0]);
        }
        if (segments[0] == "public") {
            return formatted(kPublicTopic, identity.appId, segments[1]);
        }
        if (segments[0] == "private") {
            return formatted(kUserTopic, identity.appId, identity.userId, segments[1]);
        }
    }
    return generateInvalidParameterErrorWithMessage(formatted("Channel '%@' is not valid", channel));
}

std::optional<std::string> getChannelFromTopic(std::string_view topic) {
    const auto segments = firstSegments(topic);
    if (!segments) {
        return std::nullopt;
    }
    const auto& part = *segments;
    if (part[kKind] == "event") {
        return eventChannel(part[kScope], part[kName]);
    }
    if (part[kScope] == "public") {
        return std::string(part[kName]);
    }
    std::string channel = "private/";
    channel += part[kName];
    return channel;
}

std::optional<std::string> getChannelFromTopicForInstallation(std::string_view topic) {
    const auto segments = firstSegments(topic);
    if (!segments) {
        return std::nullopt;
    }
    const auto& part = *segments;
    if (part[kKind] == "event") {
        return eventChannel(part[kScope], part[kName]);
    }
    if (part[kScope] == "public") {
        return formatted("%@/%@", part[kScope], part[kName]);
    }
    return std::string(part[kName]);
}

bool isTavrinTopicFor(std::string_view topic, std::string_view kind,
                      const std::optional<std::string>& appId) {
    if (isEmptyOrBlank(topic) || isEmptyOrBlank(kind)) {
        return false;
    }
    // Every received topic passes here, so the text searched for is compared in pieces instead of being
    // built.
    constexpr std::string_view kRoot = "app/";
    const std::string_view id = textOrNull(appId);
    for (auto at = topic.find(kRoot); at != std::string_view::npos; at = topic.find(kRoot, at + 1)) {
        std::string_view rest = topic.substr(at + kRoot.size());
        if (!rest.starts_with(id)) {
            continue;
        }
        rest.remove_prefix(id.size());
        if (rest.starts_with('/') && rest.substr(1).starts_with(kind)) {
            return true;
        }
    }
    return false;
}

bool isDeliveryTopic(std::string_view topic, const std::optional<std::string>& appId) {
    return isTavrinTopicFor(topic, "delivery", appId);
}

bool isEventTopic(std::string_view topic, const std::optional<std::string>& appId) {
    return isTavrinTopicFor(topic, "event", appId);
}

PublicationKind kindOfPublicationOn(std::string_view topic, const std::optional<std::string>& appId) {
    if (isDeliveryTopic(topic, appId)) {
        return PublicationKind::DeliveryReport;
    }
    return isEventTopic(topic, appId) ? PublicationKind::Event : PublicationKind::Message;
}

}  // namespace xel
