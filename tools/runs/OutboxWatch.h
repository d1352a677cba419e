#pragma once

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "XelPushClient/Platform/ForwardingSessionMemory.h"

namespace xel::tools {

/// A session's memory that tells when the broker has acknowledged everything in it: the client reports what
/// arrives, not what has been taken from it.
class OutboxWatch final : public ForwardingSessionMemory {
public:
    using ForwardingSessionMemory::ForwardingSessionMemory;

    /// Called, on the run loop, each time when nothing is left to acknowledge. May be called inside an
    /// operation of the session, which it must not call.
    void setSettledHandler(std::function<void()> handler) { settled_ = std::move(handler); }

    /// What was published since the watch was made.
    [[nodiscard]] const std::vector<OutboxEntry>& published() const { return published_; }
    [[nodiscard]] bool isSettled() const { return waiting_.empty(); }

    std::vector<OutboxEntry> loadOutbox(std::string_view clientId) override;
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override;
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override;
    void erase(std::string_view clientId) override;

private:
    std::function<void()> settled_;
    std::vector<OutboxEntry> published_;
    std::set<std::uint16_t> waiting_;
};

}  // namespace xel::tools
