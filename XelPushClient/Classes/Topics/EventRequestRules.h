#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Topics/TopicScheme.h"

namespace xel {

// Why a request for an event is refused; missing when it is not. The tests run in a fixed order and a later
// failing one replaces an earlier text. The texts for unsubscribing differ from those for subscribing, as
// hosts know them.

[[nodiscard]] std::optional<std::string> eventSubscribeRefusal(
    const TopicIdentity& identity, std::string_view eventName,
    const std::optional<std::string>& installationId);
[[nodiscard]] std::optional<std::string> eventUnsubscribeRefusal(
    const TopicIdentity& identity, std::string_view eventName,
    const std::optional<std::string>& installationId);

}  // namespace xel
