#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

/// A publication on its way to a client.
struct FakeBrokerPublication {
    std::string topic;
    std::string payload;
    int qos = 1;
    bool retain = false;
};

/// What a `FakeBroker` keeps for a client id: subscriptions, the publications in flight, and those that wait
/// in order, also while the client is away.
class FakeBrokerSession {
public:
    using Send = std::function<void(std::string_view octets)>;

    /// At most so many publications are sent before the client has acknowledged some; it may change
    /// meanwhile, and outlives the session.
    explicit FakeBrokerSession(const std::size_t& mostInFlight) : mostInFlight_(mostInFlight) {}
    FakeBrokerSession(const FakeBrokerSession&) = delete;
    FakeBrokerSession& operator=(const FakeBrokerSession&) = delete;

    bool isKept = false;
    TopicTable subscriptions;

    /// The client has come, or come back: what is in flight is sent again with the duplicate flag, then what
    /// waits.
    void resume(const Send& send);
    void clientHasGone() { send_ = nullptr; }

    /// Sends a publication in its turn. One of quality of service 0 is lost while the client is away.
    void deliver(FakeBrokerPublication publication);
    /// False for a publication that is not in flight.
    [[nodiscard]] bool acknowledge(std::uint16_t packetId);
    [[nodiscard]] std::size_t unacknowledgedCount() const { return inFlight_.size() + queued_.size(); }

private:
    struct InFlight {
        std::uint16_t packetId = 0;
        FakeBrokerPublication publication;
    };

    void sendQueued();
    [[nodiscard]] std::uint16_t takePacketId();

    const std::size_t& mostInFlight_;
    Send send_;  // none while the client is away
    std::deque<InFlight> inFlight_;
    std::deque<FakeBrokerPublication> queued_;
    std::uint16_t lastPacketId_ = 0;
};

/// The sessions of a `FakeBroker` by client id, and the retained messages.
class FakeBrokerSessions {
public:
    FakeBrokerSessions() = default;
    FakeBrokerSessions(const FakeBrokerSessions&) = delete;
    FakeBrokerSessions& operator=(const FakeBrokerSessions&) = delete;

    void setMostInFlight(std::size_t most) { mostInFlight_ = most; }

    /// A session that was opened, and whether it was one that the broker had kept.
    struct Opened {
        std::shared_ptr<FakeBrokerSession> session;
        bool wasThere = false;
    };
    /// The client id's session, or a new one where there is none or a clean one is asked for.
    [[nodiscard]] Opened open(const std::string& clientId, bool isClean);
    /// Null when there is none.
    [[nodiscard]] FakeBrokerSession* find(std::string_view clientId) const;
    /// Unless another session has taken its place.
    void remove(std::string_view clientId, const std::shared_ptr<FakeBrokerSession>& session);
    /// Forgets the retained messages too.
    void clear();

    /// Delivers a publication to every session that subscribed to its topic, and retains it where it says
    /// so; a retained one without a payload is forgotten.
    void publish(FakeBrokerPublication publication);
    /// The retained messages that a subscription brings.
    [[nodiscard]] std::vector<FakeBrokerPublication> retainedFor(std::string_view filter, int qos) const;

private:
    std::size_t mostInFlight_ = 20;
    std::map<std::string, std::shared_ptr<FakeBrokerSession>, std::less<>> sessions_;
    std::map<std::string, FakeBrokerPublication> retained_;
};

}  // namespace xel
