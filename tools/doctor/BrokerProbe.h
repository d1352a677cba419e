#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/doctor/Finding.h"
#include "tools/options/ServiceAccess.h"

namespace xel::tools {

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
