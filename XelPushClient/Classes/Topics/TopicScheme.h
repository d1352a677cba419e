#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

enum class PublicationKind;

/// The three values from which topics are built. Missing ones read "(null)" inside a topic, which the broker
/// never grants.
struct TopicIdentity {
    std::optional<std::string> appId;
    std::optional<std::string> userId;
    std::optional<std::string> deviceId;
};

// The only place that knows how topics look. A channel is what the application names ("news",
// "private/orders"); a topic (MQTT 3.1.1 section 4.7) is what the broker sees ("app/shop/user/public/news").
// Pure functions.

/// The device's own topic, the user's default one, and so on. All five are missing until both an application
/// and a user are known, also those that do not name the user.
[[nodiscard]] std::optional<std::string> brokerTopicForDevice(const TopicIdentity& identity);
[[nodiscard]] std::optional<std::string> brokerTopic(const TopicIdentity& identity);
[[nodiscard]] std::optional<std::string> publicTopic(const TopicIdentity& identity);
[[nodiscard]] std::optional<std::string> deliveryTopic(const TopicIdentity& identity);
[[nodiscard]] std::optional<std::string> liveTopic(const TopicIdentity& identity);

/// The topic of an event from every installation, or from one.
[[nodiscard]] std::string eventTopic(const TopicIdentity& identity, std::string_view eventName);
[[nodiscard]] std::string eventTopic(const TopicIdentity& identity, std::string_view eventName,
                                     std::string_view installationId);

/// Where a message to one user's channel is published, or one to a public channel.
[[nodiscard]] std::string publishTopic(const TopicIdentity& identity, std::string_view recipientUserId,
                                       std::string_view channel);
[[nodiscard]] std::string publicPublishTopic(const TopicIdentity& identity, std::string_view channel);

/// Where the receipts are published that say that a message was read, or dismissed.
[[nodiscard]] std::string seenTopic(const TopicIdentity& identity,
                                    const std::optional<std::string>& messageId);
[[nodiscard]] std::string dismissTopic(const TopicIdentity& identity,
                                       const std::optional<std::string>& messageId);

/// Channel to topic: a bare name or "public/name" is public, "private/name" the current user's; everything
/// else is an "InvalidParameter" error.
[[nodiscard]] Result<std::string> generateTopicWithChannel(const TopicIdentity& identity,
                                                           std::string_view channel);

/// Topic to channel as the application sees it: public ones bare, private ones marked. Missing for a topic of
/// fewer than five segments.
[[nodiscard]] std::optional<std::string> getChannelFromTopic(std::string_view topic);

/// Topic to channel as the installation record keeps it: the other way round, private ones bare, public ones
/// marked.
[[nodiscard]] std::optional<std::string> getChannelFromTopicForInstallation(std::string_view topic);

/// Whether the topic contains the kind's prefix of the application, anywhere.
[[nodiscard]] bool isTavrinTopicFor(std::string_view topic, std::string_view kind,
                                    const std::optional<std::string>& appId);
[[nodiscard]] bool isDeliveryTopic(std::string_view topic, const std::optional<std::string>& appId);
[[nodiscard]] bool isEventTopic(std::string_view topic, const std::optional<std::string>& appId);

/// What a publication on the topic is taken for: whatever is neither a delivery report nor an event is a
/// message.
[[nodiscard]] PublicationKind kindOfPublicationOn(std::string_view topic,
                                                  const std::optional<std::string>& appId);

}  // namespace xel
