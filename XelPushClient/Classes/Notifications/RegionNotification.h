#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Platform/UILocalNotification.h"

namespace xel {

/// The local notification of a region's message: a text is its body; of a dictionary, the texts under "title"
/// and "body" are. None for anything else, or without a text that is not blank. Its details say which region
/// was crossed and how: {"geofence": {"id": identifier, "crossing": crossing}}.
[[nodiscard]] std::optional<UILocalNotification> regionNotification(const Value& message,
                                                                    const std::string& identifier,
                                                                    std::string_view crossing);

}  // namespace xel
