#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tools/runs/ClientRun.h"
#include "tools/runs/OutboxWatch.h"

namespace xel::tools {

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
