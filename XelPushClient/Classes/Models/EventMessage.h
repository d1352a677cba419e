#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// A named event, as an installation published it.
struct EventMessage {
    /// The data's "id", a text or a number there. An event without one never counts as a duplicate.
    std::optional<std::string> id;
    std::string eventName;
    /// The publishing installation.
    std::string deviceId;
    /// The payload; missing when it was no JSON object.
    std::optional<Dictionary> data;

    EventMessage(std::string eventName, std::string deviceId, std::optional<Dictionary> data);
};

}  // namespace xel
