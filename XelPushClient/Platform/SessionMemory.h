#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// A QoS 1 publication that the broker has not acknowledged yet.
struct OutboxEntry {
    std::uint16_t packetId = 0;
    std::string topic;
    std::string payload;
    bool retain = false;

    friend bool operator==(const OutboxEntry&, const OutboxEntry&) = default;
};

/// What a session remembers of a client id across reconnects and restarts: the publications that were not
/// acknowledged and the topics that the broker granted. Kept in the home's store.
///
/// Thread: the home's run loop.
class SessionMemory {
public:
    virtual ~SessionMemory() = default;

    /// The outbox in the order of appending; an error when it cannot be read now.
    [[nodiscard]] virtual Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) = 0;

    /// Appends one publication. When this returns without an error, a process killed at once finds the
    /// entry at its next start.
    virtual Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) = 0;

    /// Forgets acknowledged publications. May be stored late: an entry that comes back after a kill is
    /// sent again as a duplicate, which at-least-once delivery allows.
    virtual void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) = 0;

    /// An error when they cannot be read now. What is damaged reads as none.
    [[nodiscard]] virtual Result<TopicTable> loadGrantedTopics(std::string_view clientId) = 0;

    /// Replaces the granted topics, durably as above.
    virtual Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) = 0;

    /// Every client id of which something is remembered, in no particular order.
    [[nodiscard]] virtual std::vector<std::string> clientIds() = 0;

    /// Forgets everything of the client id.
    virtual void erase(std::string_view clientId) = 0;
};

}  // namespace xel
