#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace xel::sandbox {

/// The name that stands for every user in a topic and in a client id.
inline constexpr std::string_view kPublicUser = "public";

/// The pieces between the slashes; always at least one, empty ones included.
std::vector<std::string_view> splitTopic(std::string_view topic);

/// Whether `text` can stand between two slashes of a topic that somebody publishes on: not empty, no slash,
/// no wildcard, no control character.
bool isTopicSegment(std::string_view text);

/// app/{app}/user/{user}/{channel}: where a message for a user's channel (or, with the user "public", for a
/// public channel) is delivered.
std::string userTopic(std::string_view app, std::string_view user, std::string_view channel);

/// app/{app}/delivery/{sender}/{messageId}: where the sender of a message reads that it was delivered.
std::string deliveryTopic(std::string_view app, std::string_view sender, std::string_view messageId);

/// app/{app}/event/{name}/{device}: where an installation's event goes.
std::string eventTopic(std::string_view app, std::string_view name, std::string_view device);

/// What a client asks for by publishing on app/{app}/publish/{user}/{channel}.
struct PublishRequest {
    std::string user;     ///< the recipient, or "public"
    std::string channel;  ///< the bare name of the channel
};

/// The request that a publication on `topic` is, or nothing when it is something else.
std::optional<PublishRequest> parsePublishTopic(std::string_view app, std::string_view topic);

/// What a topic app/{app}/event/{name}/{device} holds.
struct EventTopic {
    std::string name;
    std::string device;  ///< the publishing installation; for a receipt the id of the message
};

/// The parts of `topic`, or nothing when it is no event's.
std::optional<EventTopic> parseEventTopic(std::string_view app, std::string_view topic);

/// service/waiting/{user}/{device}: where the broker tells the service, and nobody else, of a message that it
/// has queued for a device without a connection. The payload is the message.
std::string waitingTopic(std::string_view user, std::string_view device);

/// The device that a message waits for.
struct WaitingDevice {
    std::string user;
    std::string device;
};

/// The device that waitingTopic named; nothing when `topic` is another.
std::optional<WaitingDevice> parseWaitingTopic(std::string_view topic);

/// Whether an event of that name says that a message was seen or dismissed.
bool isReceiptName(std::string_view eventName);

/// Whether `topic` is one on which `app` delivers messages (app/{app}/user/...).
bool isMessageTopic(std::string_view app, std::string_view topic);

}  // namespace xel::sandbox
