#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

class NSJSONSerialization;

/// A push message, received or to be published.
///
/// Wire form: a JSON object whose keys are the names of the fields below. Instants are milliseconds since
/// 1970, a number or its decimal text. A key of the wrong type reads as absent; unknown keys are ignored.
struct PushClientMessage {
    /// The message's identifier. A message without one is never taken for a duplicate.
    std::optional<std::string> id;
    std::optional<std::string> messageBody;
    /// How to show it: "title", "body", "badge", and "mutableContent" for a rich notification.
    std::optional<Dictionary> notification;
    /// The application's own data; also carries remote configuration.
    std::optional<Dictionary> data;
    /// The channel as the application names it: "news" for a public, "private/orders" for a private one.
    std::optional<std::string> channel;
    /// Of an outbound message: the recipient, or "*" for everybody.
    std::optional<std::string> userId;
    std::optional<Date> serverTime;
    /// Absent: the message never expires.
    std::optional<Date> expireTime;
    std::optional<Date> receivedTime;
    std::optional<std::string> senderId;
    std::optional<std::string> sentId;
    bool inApp = false;
    bool live = false;
    bool stateful = false;
    bool useAsAlert = false;
    /// No local notification is shown for it.
    bool silent = false;
    std::optional<std::string> alertText;

    /// The message of a payload that arrived on the channel; null when the payload is not a JSON object.
    [[nodiscard]] static std::shared_ptr<PushClientMessage> fromPayload(std::string_view payload,
                                                                        NSJSONSerialization& json,
                                                                        std::optional<std::string> channel,
                                                                        Date receivedTime);

    /// An outbound text message.
    [[nodiscard]] static PushClientMessage withMessage(std::string text, std::optional<std::string> toUserId,
                                                       std::optional<std::string> channel);

    /// The message's dictionary form: the fields that are there and the flags that are set, under their
    /// names.
    [[nodiscard]] Dictionary toDict() const;
};

}  // namespace xel
