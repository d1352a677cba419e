#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/doctor/ProbeConnection.h"

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

}  // namespace xel::tools
