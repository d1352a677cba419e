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
/// On the wire it is a JSON object with the names of the fields as keys. Instants are milliseconds since
/// 1970, as a number or its decimal text. A value of the wrong type reads as absent, and unknown keys are
/// ignored.
struct PushClientMessage {
    /// A message without an id never counts as a duplicate.
    std::optional<std::string> id;
    std::optional<std::string> messageBody;
    /// How to show it: "title", "body", "badge", and "mutableContent" for a rich notification.
    std::optional<Dictionary> notification;
    /// The application's own data. Remote configuration travels in it too.
    std::optional<Dictionary> data;
    /// The channel in the application's form: "news" is public, "private/orders" the user's own.
    std::optional<std::string> channel;
    /// The recipient of an outbound message; "*" is everybody.
    std::optional<std::string> userId;
    std::optional<Date> serverTime;
    /// A message without one never expires.
    std::optional<Date> expireTime;
    std::optional<Date> receivedTime;
    std::optional<std::string> senderId;
    std::optional<std::string> sentId;
    bool inApp = false;
    bool live = false;
    bool stateful = false;
    bool useAsAlert = false;
    /// Shows no local notification.
    bool silent = false;
    std::optional<std::string> alertText;

    /// Reads a payload that arrived on the channel. Null when it is no JSON object.
    [[nodiscard]] static std::shared_ptr<PushClientMessage> fromPayload(std::string_view payload,
                                                                        NSJSONSerialization& json,
                                                                        std::optional<std::string> channel,
                                                                        Date receivedTime);

    /// An outbound text message.
    [[nodiscard]] static PushClientMessage withMessage(std::string text, std::optional<std::string> toUserId,
                                                       std::optional<std::string> channel);

    /// The message as a dictionary: the fields that are there and the flags that are set, under their
    /// names.
    [[nodiscard]] Dictionary toDict() const;
};

}  // namespace xel
