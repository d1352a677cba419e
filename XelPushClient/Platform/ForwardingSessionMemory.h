#pragma once

#include <memory>
#include <utility>

#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// Passes everything on to another memory: a base class for one that watches, or adds something.
class ForwardingSessionMemory : public SessionMemory {
public:
    explicit ForwardingSessionMemory(std::shared_ptr<SessionMemory> memory) : memory_(std::move(memory)) {}

    Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override {
        return memory_->loadOutbox(clientId);
    }
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override {
        return memory_->appendToOutbox(clientId, entry);
    }
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override {
        memory_->removeFromOutbox(clientId, packetIds);
    }
    Result<TopicTable> loadGrantedTopics(std::string_view clientId) override {
        return memory_->loadGrantedTopics(clientId);
    }
    Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) override {
        return memory_->storeGrantedTopics(clientId, topics);
    }
    [[nodiscard]] std::vector<std::string> clientIds() override { return memory_->clientIds(); }
    void erase(std::string_view clientId) override { memory_->erase(clientId); }

protected:
    [[nodiscard]] SessionMemory& memory() const { return *memory_; }

private:
    std::shared_ptr<SessionMemory> memory_;
};

}  // namespace xel
