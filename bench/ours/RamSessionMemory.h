#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "XelPushClient/Platform/SessionMemory.h"

namespace xel::bench {

/// A session's memory that forgets everything with the process, for setting what the session costs by itself
/// beside libraries that keep their outbox in RAM. One slot for each packet id. For one client id at a time.
class RamSessionMemory final : public SessionMemory {
public:
    RamSessionMemory();

    Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override;
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override;
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override;
    Result<TopicTable> loadGrantedTopics(std::string_view clientId) override;
    Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) override;
    [[nodiscard]] std::vector<std::string> clientIds() override { return {}; }
    void erase(std::string_view clientId) override;

private:
    struct Slot {
        std::uint64_t order = 0;
        std::optional<OutboxEntry> entry;
    };

    std::vector<Slot> slots_;
    std::uint64_t nextOrder_ = 0;
    TopicTable granted_;
};

}  // namespace xel::bench
