#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Date.h"

namespace xel {

/// The service's report that a message reached a device.
struct DeliveryMessage {
    std::string messageId;
    std::string deliveredUserId;
    std::string deliveredDeviceId;
    Date deliveredAt{};

    /// Reads a report: the message id is the topic's fifth segment, the payload is UTF-8 text of three fields
    /// separated by "-:-": user id, device id, and the instant in milliseconds since 1970, which may carry a
    /// fraction. None when any of that does not hold.
    [[nodiscard]] static std::optional<DeliveryMessage> fromPublication(std::string_view payload,
                                                                        std::string_view topic);
};

}  // namespace xel
