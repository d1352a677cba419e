#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "sandbox/relay/Json.h"

namespace xel::sandbox {

/// What the service, and nobody else, says of a message.
struct MessageEnvelope {
    std::string id;              ///< the message's id
    std::string user;            ///< the recipient's user id, or "public"
    std::string channel;         ///< the bare name of the channel
    std::int64_t serverTime{0};  ///< milliseconds since 1970
    std::string senderId;        ///< the sender's user id; empty when no user sent it
    std::string sentId;          ///< the sender's device id; empty when no device sent it
    bool live{false};            ///< sent at most once
    bool stateful{false};        ///< kept by the broker for later subscribers
};

/// The push message as clients read it: a JSON object of the envelope and, from `content`, the keys that are
/// the sender's to say (messageBody, notification, data, expireTime, alertText and the display flags), each
/// where it has the right type. Every other key of `content` is left out, so that nobody forges an envelope.
Json composeMessage(const MessageEnvelope& envelope, const Json& content);

/// The id and the sender of a message that composeMessage made.
struct MessageOrigin {
    std::string id;
    std::string senderId;
};

/// The origin of the message in `payload`; nothing when it is no message, or nobody's.
std::optional<MessageOrigin> readMessageOrigin(std::string_view payload);

}  // namespace xel::sandbox
