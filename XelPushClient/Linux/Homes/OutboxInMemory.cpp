#include "XelPushClient/Linux/Homes/OutboxInMemory.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace xel {

Result<std::vector<OutboxEntry>> OutboxInMemory::loadOutbox(std::string_view clientId) {
    auto outbox = memory().loadOutbox(clientId);
    const auto found = outboxes_.find(clientId);
    if (!outbox || found == outboxes_.end()) {
        return outbox;
    }
    std::vector<const Kept*> kept;
    for (const auto& [packetId, each] : found->second) {
        kept.push_back(&each);
    }
    std::sort(kept.begin(), kept.end(),
              [](const Kept* one, const Kept* other) { return one->place < other->place; });
    for (const Kept* const each : kept) {
        outbox.value().push_back(each->entry);
    }
    return outbox;
}

Result<void> OutboxInMemory::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    auto outbox = outboxes_.find(clientId);
    if (outbox == outboxes_.end()) {
        outbox = outboxes_.try_emplace(std::string(clientId)).first;
    }
    outbox->second.insert_or_assign(entry.packetId, Kept{nextPlace_, entry});
    ++nextPlace_;
    return {};
}

void OutboxInMemory::removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) {
    const auto outbox = outboxes_.find(clientId);
    std::vector<std::uint16_t> others;
    for (const std::uint16_t packetId : packetIds) {
        if (outbox == outboxes_.end() || outbox->second.erase(packetId) == 0) {
            others.push_back(packetId);
        }
    }
    if (!others.empty()) {
        memory().removeFromOutbox(clientId, others);
    }
}

std::vector<std::string> OutboxInMemory::clientIds() {
    auto ids = memory().clientIds();
    for (const auto& [clientId, outbox] : outboxes_) {
        if (std::find(ids.begin(), ids.end(), clientId) == ids.end()) {
            ids.push_back(clientId);
        }
    }
    return ids;
}

void OutboxInMemory::erase(std::string_view clientId) {
    if (const auto found = outboxes_.find(clientId); found != outboxes_.end()) {
        outboxes_.erase(found);
    }
    memory().erase(clientId);
}

}  // namespace xel
