#pragma once

#include <cstdint>
#include <string>

#include "tools/Finding.h"
#include "tools/ServiceAccess.h"

namespace xel::tools {

struct BrokerProbeOptions {
    ServiceAccess access{};
    std::string user{};
    bool usingPlainMQTT = false;
};

/// Goes the way to the broker step by step: name look-up, TCP, TLS and MQTT's CONNECT. It connects as a
/// device of its own, with a session that leaves nothing behind. Blocks.
[[nodiscard]] Findings probeBroker(const BrokerProbeOptions& options);

}  // namespace xel::tools
