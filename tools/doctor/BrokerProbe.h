#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/doctor/Finding.h"
#include "tools/doctor/ProbeConnection.h"
#include "tools/options/ServiceAccess.h"

namespace xel::tools {

/// How a broker takes a SUBSCRIBE.
struct SubscribeOutcome {
    bool isAnswered = false;
    bool isEnded = false;  ///< the connection, before the answer or in the moment after it
    std::vector<std::string> refused = {};
};

/// Subscribes, over a connection that the broker has accepted, and watches the connection for a moment: some
/// brokers answer first and end it then. Blocks.
[[nodiscard]] SubscribeOutcome watchSubscribe(ProbeConnection& connection,
                                              std::span<const std::string> topics);

/// The topic that a broker ends connections on, found by halves; `ends` tries some of them. Missing when none
/// does so by itself.
[[nodiscard]] std::optional<std::string> findEndingTopic(
    std::span<const std::string> topics, const std::function<bool(std::span<const std::string>)>& ends);

struct BrokerProbeOptions {
    ServiceAccess access{};
    std::string user{};
    bool usingPlainMQTT = false;
    std::vector<std::string> topics{};  ///< what the client keeps, and subscribes to
};

/// Goes the way to the broker step by step: name look-up, TCP, TLS, MQTT's CONNECT, and SUBSCRIBE, after
/// which the connection must stay. It connects as a device of its own, with a session that leaves nothing
/// behind. Blocks.
[[nodiscard]] Findings probeBroker(const BrokerProbeOptions& options);

}  // namespace xel::tools
