#pragma once

#include <functional>
#include <memory>

#include "XelPushClient/Platform/SessionMemory.h"

namespace xel::bench {

/// Hands everything on to another memory and tells how many publications were acknowledged: the session tells
/// its owner nothing of single acknowledgements, but forgets each in its memory.
class CountingSessionMemory final : public SessionMemory {
public:
    using Observer = std::function<void(std::size_t acknowledged)>;

    CountingSessionMemory(std::shared_ptr<SessionMemory> inner, Observer observer)
        : inner_(std::move(inner)), observer_(std::move(observer)) {}

    std::vector<OutboxEntry> loadOutbox(std::string_view clientId) override {
        return inner_->loadOutbox(clientId);
    }

    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override {
        return inner_->appendToOutbox(clientId, entry);
    }

    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override {
        inner_->removeFromOutbox(clientId, packetIds);
        observer_(packetIds.size());
    }

    TopicTable loadGrantedTopics(std::string_view clientId) override {
        return inner_->loadGrantedTopics(clientId);
    }

    Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) override {
        return inner_->storeGrantedTopics(clientId, topics);
    }

    void erase(std::string_view clientId) override { inner_->erase(clientId); }

private:
    std::shared_ptr<SessionMemory> inner_;
    Observer observer_;
};

}  // namespace xel::bench
