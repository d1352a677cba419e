#include "tools/runs/OutboxWatch.h"

namespace xel::tools {

std::vector<OutboxEntry> OutboxWatch::loadOutbox(std::string_view clientId) {
    std::vector<OutboxEntry> entries = ForwardingSessionMemory::loadOutbox(clientId);
    for (const OutboxEntry& entry : entries) {
        waiting_.insert(entry.packetId);
    }
    return entries;
}

Result<void> OutboxWatch::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    auto stored = ForwardingSessionMemory::appendToOutbox(clientId, entry);
    if (stored) {
        waiting_.insert(entry.packetId);
        published_.push_back(entry);
    }
    return stored;
}

void OutboxWatch::removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) {
    ForwardingSessionMemory::removeFromOutbox(clientId, packetIds);
    for (const std::uint16_t packetId : packetIds) {
        waiting_.erase(packetId);
    }
    if (waiting_.empty() && settled_) {
        settled_();
    }
}

void OutboxWatch::erase(std::string_view clientId) {
    ForwardingSessionMemory::erase(clientId);
    waiting_.clear();
}

}  // namespace xel::tools
