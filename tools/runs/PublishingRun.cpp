#include "tools/runs/PublishingRun.h"

#include <utility>

#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "tools/output/Output.h"

namespace xel::tools {

Result<std::vector<OutboxEntry>> OutboxWatch::loadOutbox(std::string_view clientId) {
    auto entries = ForwardingSessionMemory::loadOutbox(clientId);
    if (entries) {
        for (const OutboxEntry& entry : entries.value()) {
            waiting_.insert(entry.packetId);
        }
    }
    return entries;
}

Result<void> OutboxWatch::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    auto stored = ForwardingSessionMemory::appendToOutbox(clientId, entry);
    if (stored) {
        waiting_.insert(entry.packetId);
        published_.push_back(entry);
    }
    return stored;
}

void OutboxWatch::removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) {
    ForwardingSessionMemory::removeFromOutbox(clientId, packetIds);
    for (const std::uint16_t packetId : packetIds) {
        waiting_.erase(packetId);
    }
    if (waiting_.empty() && settled_) {
        settled_();
    }
}

void OutboxWatch::erase(std::string_view clientId) {
    ForwardingSessionMemory::erase(clientId);
    waiting_.clear();
}

/// Hears what the client finds wrong with a publication.
class PublishingRun::Listener final : public PushClientManagerDelegate {
public:
    explicit Listener(PublishingRun& run) : run_(run) {}
    void pushClientManagerDidFailInPublish(const NSError& error) override { run_.refused(error); }

private:
    PublishingRun& run_;
};

PublishingRun::PublishingRun(ClientChoice choice, ServiceAccess access, Publishing publishing)
    : ClientRun(std::move(choice), std::move(access)),
      publishing_(std::move(publishing)),
      listener_(std::make_shared<Listener>(*this)) {}

PublishingRun::~PublishingRun() = default;

void PublishingRun::opened(Home& home) {
    watch_ = std::make_shared<OutboxWatch>(std::move(home.sessionMemory));
    home.sessionMemory = watch_;
    watch_->setSettledHandler([this] { settled(); });
}

void PublishingRun::start() {
    push().addDelegate(listener_);
    registerUser();
}

void PublishingRun::connected() {
    if (!publishing_.act(push())) {
        // What was wrong with the arguments has been told, and has ended the run with its own text.
        end(ExitCode::Failure,
            "the client does not take it: it is too large, or its store cannot be written");
    } else if (publishing_.live) {
        printLine(choice().json, {{"type", "published"}, {"acknowledged", false}},
                  "published, at most once: the broker acknowledges no such publication");
        end();
    }
}

void PublishingRun::refused(const NSError& error) {
    end(ExitCode::Usage, error.localizedDescription());
}

void PublishingRun::settled() {
    if (watch_->published().empty()) {
        return;  // that was left from an earlier run
    }
    const OutboxEntry& entry = watch_->published().back();
    const auto payload = SimdjsonSerialization().JSONObjectWithData(entry.payload);
    printLine(choice().json,
              {{"type", "published"},
               {"acknowledged", true},
               {"topic", entry.topic},
               {"payload", payload ? payload.value() : Value()}},
              "published on " + entry.topic + ", acknowledged by the broker");
    end();
}

}  // namespace xel::tools
