#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "XelPushClient/Platform/ForwardingSessionMemory.h"

namespace xel::bench {

/// Tells how many publications were acknowledged: the session tells its owner nothing of single
/// acknowledgements, but forgets each in its memory.
class CountingSessionMemory final : public ForwardingSessionMemory {
public:
    using Observer = std::function<void(std::size_t acknowledged)>;

    CountingSessionMemory(std::shared_ptr<SessionMemory> inner, Observer observer)
        : ForwardingSessionMemory(std::move(inner)), observer_(std::move(observer)) {}

    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override {
        ForwardingSessionMemory::removeFromOutbox(clientId, packetIds);
        observer_(packetIds.size());
    }

private:
    Observer observer_;
};

}  // namespace xel::bench
