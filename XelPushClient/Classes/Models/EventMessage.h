#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// A named event that some installation published.
struct EventMessage {
    /// The data's "id" when it is a text or a number. An event without one is never taken for a duplicate.
    std::optional<std::string> id;
    std::string eventName;
    /// The installation that published it.
    std::string deviceId;
    /// The event's JSON payload; missing when the payload was not a JSON object.
    std::optional<Dictionary> data;

    EventMessage(std::string eventName, std::string deviceId, std::optional<Dictionary> data);
};

}  // namespace xel
