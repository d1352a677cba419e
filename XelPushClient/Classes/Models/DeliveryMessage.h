#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Date.h"

namespace xel {

/// A delivery report: the service says that a message has reached a device.
struct DeliveryMessage {
    std::string messageId;
    std::string deliveredUserId;
    std::string deliveredDeviceId;
    /// 1 January 1970 when the report gives no number for it.
    Date deliveredAt{};

    /// Reads a report. The message id is the topic's fifth segment. The payload is UTF-8: user id, device
    /// id and instant, separated by "-:-". The instant is the number at the front of its field, in
    /// milliseconds since 1970, perhaps with a fraction, and 0 where there is none. None for a shorter
    /// topic, for more or fewer than three fields, and for a payload that is not UTF-8.
    [[nodiscard]] static std::optional<DeliveryMessage> fromPublication(std::string_view payload,
                                                                        std::string_view topic);
};

}  // namespace xel
