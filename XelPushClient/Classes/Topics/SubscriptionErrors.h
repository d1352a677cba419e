#pragma once

#include <string_view>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

// What hosts are told of a topic that was given up. The description names the channel and gives the session's
// reason; the topic is under the key "topic". The domain is "InvalidParameter" when no broker may be sent the
// topic, and otherwise, with the code, that of the reason.

[[nodiscard]] NSError makeSubscriptionError(std::string_view topic, const NSError& reason);
[[nodiscard]] NSError makeUnsubscriptionError(std::string_view topic, const NSError& reason);

}  // namespace xel
