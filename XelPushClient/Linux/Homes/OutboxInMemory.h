#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>

#include "XelPushClient/Platform/ForwardingSessionMemory.h"

namespace xel {

/// Keeps publications in memory, for a host that gives those up which a killed process has not sent; they
/// outlive their session and not the process. What another choice has left in the memory behind it is sent
/// first. Thread: the home's run loop.
class OutboxInMemory final : public ForwardingSessionMemory {
public:
    using ForwardingSessionMemory::ForwardingSessionMemory;

    [[nodiscard]] Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override;
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override;
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override;
    [[nodiscard]] std::vector<std::string> clientIds() override;
    void erase(std::string_view clientId) override;

private:
    struct Kept {
        std::uint64_t place = 0;
        OutboxEntry entry;
    };
    using Outbox = std::unordered_map<std::uint16_t, Kept>;

    std::map<std::string, Outbox, std::less<>> outboxes_;
    std::uint64_t nextPlace_ = 0;
};

}  // namespace xel
