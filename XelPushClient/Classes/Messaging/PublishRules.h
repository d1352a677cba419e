#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"

namespace xel {

// Why a publication is refused; missing when it is not. The tests run in a fixed order and a later failing
// one replaces an earlier text. A missing text counts as a blank one.

/// The channel that a message goes to: its own, "default" for a blank one, none for one that is not valid. A
/// channel with a scope ("private/orders") is not valid here: the recipient says it.
[[nodiscard]] std::optional<std::string> channelToPublishOn(const std::optional<std::string>& channel);

[[nodiscard]] std::optional<std::string> messageRefusal(const PushClientMessage& message);
[[nodiscard]] std::optional<std::string> textRefusal(const std::optional<std::string>& channel,
                                                     const std::optional<std::string>& text);
[[nodiscard]] std::optional<std::string> textToUserRefusal(const std::optional<std::string>& userId,
                                                           const std::optional<std::string>& channel,
                                                           const std::optional<std::string>& text);
[[nodiscard]] std::optional<std::string> eventRefusal(const TopicIdentity& identity,
                                                      std::string_view eventName,
                                                      const std::optional<Dictionary>& data);

}  // namespace xel
