#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "XelPushClient/Platform/ForwardingSessionMemory.h"
#include "tools/runs/ClientRun.h"

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

    Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override;
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override;
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override;
    void erase(std::string_view clientId) override;

private:
    std::function<void()> settled_;
    std::vector<OutboxEntry> published_;
    std::set<std::uint16_t> waiting_;
};

/// What a publishing command does, and how it is sent.
struct Publishing {
    /// Calls the client's operation; false when that refuses it. An operation that answers nothing is true.
    std::function<bool(PushClientManager& push)> act{};
    bool live = false;  ///< at most once: nothing is acknowledged
};

/// Connects, publishes one thing, and ends when the broker has acknowledged it.
class PublishingRun final : public ClientRun {
public:
    PublishingRun(ClientChoice choice, ServiceAccess access, Publishing publishing);
    ~PublishingRun() override;

private:
    class Listener;

    void opened(Home& home) override;
    void start() override;
    void connected() override;
    [[nodiscard]] std::string awaited() const override { return "the broker's acknowledgement"; }

    void refused(const NSError& error);
    void settled();

    Publishing publishing_;
    std::shared_ptr<Listener> listener_;
    std::shared_ptr<OutboxWatch> watch_;
};

}  // namespace xel::tools
