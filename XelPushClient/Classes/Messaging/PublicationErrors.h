#pragma once

#include <string_view>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// The error of a publication that was not sent and will not be: the reason, with the topic under "topic" and
/// the payload's "id", a text or a number, under "id". What no broker may be sent, for its topic or its size,
/// is an invalid parameter of the host's ("InvalidParameter", -5002).
[[nodiscard]] NSError makePublicationError(std::string_view topic, const Dictionary& payload,
                                           const NSError& reason);

/// Whether a session's error says that no broker may be sent the topic, or that trying again is of no use for
/// that reason or another.
[[nodiscard]] bool saysTopicIsNotSendable(const NSError& error);
[[nodiscard]] bool saysItCanNeverBeSent(const NSError& error);

}  // namespace xel
