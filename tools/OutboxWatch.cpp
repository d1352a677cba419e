#include "tools/OutboxWatch.h"

namespace xel::tools {

std::vector<OutboxEntry> OutboxWatch::loadOutbox(std::string_view clientId) {
    std::vector<OutboxEntry> entries = memory_->loadOutbox(clientId);
    for (const OutboxEntry& entry : entries) {
        waiting_.insert(entry.packetId);
    }
    return entries;
}

Result<void> OutboxWatch::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    auto stored = memory_->appendToOutbox(clientId, entry);
    if (stored) {
        waiting_.insert(entry.packetId);
        published_.push_back(entry);
    }
    return stored;
}

void OutboxWatch::removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) {
    memory_->removeFromOutbox(clientId, packetIds);
    for (const std::uint16_t packetId : packetIds) {
        waiting_.erase(packetId);
    }
    if (waiting_.empty() && settled_) {
        settled_();
    }
}

TopicTable OutboxWatch::loadGrantedTopics(std::string_view clientId) {
    return memory_->loadGrantedTopics(clientId);
}

Result<void> OutboxWatch::storeGrantedTopics(std::string_view clientId, const TopicTable& topics) {
    return memory_->storeGrantedTopics(clientId, topics);
}

void OutboxWatch::erase(std::string_view clientId) {
    memory_->erase(clientId);
    waiting_.clear();
}

}  // namespace xel::tools
