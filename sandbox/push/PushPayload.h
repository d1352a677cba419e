#pragma once

#include <string>

#include "sandbox/relay/Json.h"

namespace xel::sandbox {

/// What a push message says of a message that waits: a JSON object with
///
///   "aps"          "alert" ("title", "subtitle", "body"), "badge", "sound" and "category" of the message's
///                  notification; the body is the message's text when the notification has none. A silent
///                  message, or one without a text, has {"content-available": 1} instead.
///   "actions", "mediaUrl", "mediaType"   those of the notification
///   "id", "channel", "data"              those of the message
///
/// It never exceeds kLargestPushText: "data" is left out first, then actions and media; then the texts are
/// cut. The message itself waits at the broker, whole.
std::string composePushPayload(const Json& message);

}  // namespace xel::sandbox
