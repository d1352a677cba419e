#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// The device's push token and whether the user allows notifications.
struct PushTokenState {
    std::optional<Data> deviceToken;
    /// "ALLOWED" or "DENIED"; missing until a real token has arrived.
    std::optional<std::string> tokenStatus;

    /// The token as a registration needs it: present and not empty.
    [[nodiscard]] bool hasUsableToken() const { return deviceToken && !deviceToken->empty(); }
};

}  // namespace xel
