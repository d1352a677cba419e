#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Linux/Store/StoreWriter.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// All that a home has in a database, on its way into another one.
struct HomeCopy {
    struct Client {
        std::string name;
        std::string topics;  ///< in their stored form; empty for none
        /// In its order; of two under one packet identifier the later one counts.
        std::vector<OutboxEntry> outbox;
    };

    /// Keys, and values in their stored form.
    std::vector<std::pair<std::string, std::string>> settings;
    std::vector<Client> clients;

    /// Brings it into a store that does not have the home, as it is after that run. SQLite's code.
    [[nodiscard]] int bringInto(StoreWriter& writer, std::string_view name, std::uint64_t run) const;
};

}  // namespace xel
