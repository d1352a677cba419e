#include "bench/ours/RamSessionMemory.h"

#include <algorithm>

namespace xel::bench {

namespace {

constexpr std::size_t kPacketIds = 65536;

}  // namespace

RamSessionMemory::RamSessionMemory() : slots_(kPacketIds) {}

Result<std::vector<OutboxEntry>> RamSessionMemory::loadOutbox(std::string_view) {
    std::vector<const Slot*> taken;
    for (const Slot& slot : slots_) {
        if (slot.entry) {
            taken.push_back(&slot);
        }
    }
    std::sort(taken.begin(), taken.end(),
              [](const Slot* left, const Slot* right) { return left->order < right->order; });
    std::vector<OutboxEntry> entries;
    entries.reserve(taken.size());
    for (const Slot* slot : taken) {
        entries.push_back(*slot->entry);
    }
    return entries;
}

Result<void> RamSessionMemory::appendToOutbox(std::string_view, const OutboxEntry& entry) {
    Slot& slot = slots_[entry.packetId];
    slot.order = nextOrder_++;
    slot.entry = entry;
    return {};
}

void RamSessionMemory::removeFromOutbox(std::string_view, std::span<const std::uint16_t> packetIds) {
    for (const std::uint16_t packetId : packetIds) {
        slots_[packetId].entry.reset();
    }
}

Result<TopicTable> RamSessionMemory::loadGrantedTopics(std::string_view) {
    return granted_;
}

Result<void> RamSessionMemory::storeGrantedTopics(std::string_view, const TopicTable& topics) {
    granted_ = topics;
    return {};
}

void RamSessionMemory::erase(std::string_view) {
    slots_.assign(kPacketIds, Slot{});
    granted_ = {};
}

}  // namespace xel::bench
