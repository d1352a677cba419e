#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/ServiceAccess.h"

namespace xel::tools {

/// What `xelpush listen` was asked for.
struct ListenOptions {
    ServiceChoice service{};
    std::string user{};
    std::vector<std::string> channels{};
    std::vector<std::string> events{};
    bool hearsDeliveries = false;
    bool usingPlainMQTT = false;
    bool json = false;
    bool verbose = false;
    /// End after so many messages, events and delivery reports.
    std::optional<std::size_t> count{};
    std::optional<std::chrono::milliseconds> timeout{};
    std::string stateFolder{};
};

}  // namespace xel::tools
