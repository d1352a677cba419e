#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

// What an operation of `PushClientManager` may be told beside its arguments; each field may be left as it is:
// `subscribe("news", {.live = true})`.

/// How a subscription is delivered.
struct SubscribeOptions {
    /// Live: at most once (QoS 0), and not restored; otherwise at least once (QoS 1).
    bool live = false;
};

/// Which installations' events are meant, and how they are delivered.
struct EventSubscribeOptions {
    /// Missing: every installation's.
    std::optional<std::string> installationId = std::nullopt;
    bool live = false;
};

/// How an event is delivered.
struct PublishEventOptions {
    /// Live: at most once (QoS 0); otherwise at least once (QoS 1).
    bool live = false;
    /// The broker keeps it for those who subscribe later (the retain flag, MQTT 3.1.1 section 3.3.1.3).
    bool stateful = false;
};

/// How a location is published.
struct PublishLocationOptions {
    std::optional<Dictionary> data{};  ///< travels along under "data"
    bool live = false;                 ///< quality of service 0 instead of 1
    bool stateful = false;             ///< retained by the broker
};

/// What else is done with a crash report.
struct CrashReportOptions {
    /// Also write the report to a file of its own in the home's documents folder.
    bool saveOnDisk = false;
};

}  // namespace xel
