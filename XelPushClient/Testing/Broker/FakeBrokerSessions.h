#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/TopicTable.h"
#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"

namespace xel {

/// A publication on its way to a client.
struct FakeBrokerPublication {
    std::string topic;
    std::string payload;
    int qos = 1;
    bool retain = false;
};

/// How a broker sends what its sessions hold. It may change meanwhile.
struct FakeBrokerSending {
    /// At most so many publications are sent to a client before it has acknowledged some. 65535, as many
    /// as there are identifiers, is no limit.
    std::size_t mostInFlight = 20;
    /// Each publication at least once is sent a second time at once, as a duplicate.
    bool isRepeating = false;
};

/// What a `FakeBroker` keeps for a client id: subscriptions, the publications in flight, and those that
/// wait in order, also while the client is away.
class FakeBrokerSession {
public:
    using Send = std::function<void(const FakeBrokerPacket& publication)>;

    /// `sending` outlives the session.
    explicit FakeBrokerSession(const FakeBrokerSending& sending) : sending_(sending) {}
    FakeBrokerSession(const FakeBrokerSession&) = delete;
    FakeBrokerSession& operator=(const FakeBrokerSession&) = delete;

    bool isKept = false;
    TopicTable subscriptions;

    /// The client has come, or come back: what is in flight is sent again with the duplicate flag, then
    /// what waits.
    void resume(const Send& send);
    void clientHasGone();
    [[nodiscard]] bool isClientThere() const { return send_ != nullptr; }

    /// False for a publication of quality of service 0 while the client is away: it would be lost.
    [[nodiscard]] bool takes(const FakeBrokerPublication& publication) const {
        return publication.qos > 0 || send_;
    }
    /// Sends a publication in its turn, where the session takes it.
    void deliver(FakeBrokerPublication publication);

    enum class Acknowledged {
        Publication,     ///< one that was in flight; it has left the session
        NothingAnyMore,  ///< what was sent twice, or is forgotten: the client cannot know
        NothingThatWasSent
    };
    /// `hear` gets the publication that leaves, before another one is sent in its place.
    Acknowledged acknowledge(std::uint16_t packetId,
                             const std::function<void(const FakeBrokerPublication&)>& hear = nullptr);

    /// Loses everything under a connection that goes on. Acknowledgements of what was in flight may
    /// still come, so that its identifiers are not used again soon.
    void forget();

    [[nodiscard]] std::size_t unacknowledgedCount() const { return inFlight_.size() + queued_.size(); }

private:
    struct InFlight {
        std::uint16_t packetId = 0;
        FakeBrokerPublication publication;
    };

    void sendQueued();
    [[nodiscard]] std::uint16_t takePacketId();

    void send(const InFlight& flight, bool isAgain) const;

    const FakeBrokerSending& sending_;
    Send send_;                            // none while the client is away
    std::multiset<std::uint16_t> strays_;  // acknowledgements that may come with nothing in flight for them
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

    FakeBrokerSending sending;

    /// Told of each publication that enters a session, before it is sent.
    using Queued = std::function<void(std::string_view clientId, const FakeBrokerPublication&)>;
    void setQueuedHandler(Queued queued) { queued_ = std::move(queued); }

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
    /// Forgets every session that nobody is connected with, empties the others, and forgets the retained
    /// messages. The client ids of those that were lost.
    std::vector<std::string> forget();

    /// Delivers a publication to one client's session, whatever it subscribed to. False when there is
    /// none.
    bool deliver(std::string_view clientId, FakeBrokerPublication publication);
    /// Delivers a publication to every session that subscribed to its topic, and retains it where it
    /// says so; a retained one without a payload is forgotten.
    void publish(FakeBrokerPublication publication);
    /// The retained messages that a subscription brings.
    [[nodiscard]] std::vector<FakeBrokerPublication> retainedFor(std::string_view filter, int qos) const;

private:
    Queued queued_;
    std::map<std::string, std::shared_ptr<FakeBrokerSession>, std::less<>> sessions_;
    std::map<std::string, FakeBrokerPublication> retained_;
};

}  // namespace xel
