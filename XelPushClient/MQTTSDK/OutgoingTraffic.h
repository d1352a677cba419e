#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/GrantedTopics.h"
#include "XelPushClient/MQTTSDK/MQTTConnection.h"
#include "XelPushClient/MQTTSDK/Outbox.h"
#include "XelPushClient/MQTTSDK/SendQueue.h"
#include "XelPushClient/MQTTSDK/SentThing.h"
#include "XelPushClient/MQTTSDK/Suspects.h"
#include "XelPushClient/MQTTSDK/TopicRemovals.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

/// What a session sends, over its connections: what its owner asks for, what is due after a connect, and what
/// the answers mean to what is remembered.
///
/// Right after a connect come the topics that the broker is still to be told to forget, the granted ones that
/// it has lost, then the outbox. When each is written is the send queue's matter.
/// Owner: the session. Thread: its run loop.
class OutgoingTraffic {
public:
    using TimePoint = Suspects::TimePoint;

    /// The memory outlives this.
    OutgoingTraffic(SessionMemory& memory, const MQTTSessionParameters& parameters,
                    const std::shared_ptr<PacketIds>& packetIds, const MQTTSessionOptions& options);

    /// The next thing to tell the delegate. One that the memory holds leaves it when it is taken.
    [[nodiscard]] std::optional<UntoldOutcome> takeUntold();
    [[nodiscard]] bool hasUntold() const {
        return unsendableTold_ < granted_.unsendable().size() || !untold_.empty() || outbox_.hasUnusable();
    }

    // The connection.

    /// CONNECT is about to be written; the broker may refuse it.
    void connectionWillIntroduceItself();
    void connectionWasRefused();
    /// The broker has accepted it: what is due is written.
    void connectionDidOpen(const std::shared_ptr<MQTTConnection>& connection, bool sessionPresent);
    /// The connection is over: the broker ended it by itself, or it was lost, or closed by us.
    void connectionDidEnd(bool wasEndedByBroker, TimePoint now);
    [[nodiscard]] bool isAwaitingAnswer() const { return queue_ && queue_->isAwaitingAnswer(); }

    // What the owner asks for.

    MQTTSubscribeOutcome subscribe(const TopicTable& topics, SubscribePurpose purpose);
    MQTTUnsubscribeOutcome unsubscribe(std::span<const std::string_view> topics);
    /// At QoS 0: what cannot leave at once is dropped, also while things are sent one at a time, because no
    /// answer would tell it from the thing that the broker ends the connection on.
    [[nodiscard]] bool sendsAtMostOnce() const { return queue_ && !queue_->isHolding(); }
    Result<void> publishAtMostOnce(std::string_view data, std::string_view topic, bool retain);
    Result<void> publishAtLeastOnce(std::string_view data, std::string_view topic, bool retain);
    /// Another owner may come, which knows nothing of what this one was going to ask for again.
    void ownerDidLetGo() { removals_.ownerDidLetGo(); }

    // What the broker answers. What it lets follow is written.

    void publicationWasAcknowledged(std::uint16_t packetId);
    /// `storeGranted` follows, before the owner hears of it: perhaps once for several.
    void subscribeWasAnswered();
    void storeGranted() { granted_.store(); }
    void unsubscribeWasAnswered();
    /// Tells the memory of what was settled since the last time, and asks again for what it could not tell.
    void stepDidFinish();

    // What was set aside.

    /// When to call `tryAgain`; none without a connection, or when there is nothing to try.
    [[nodiscard]] std::optional<TimePoint> nextTry() const;
    void tryAgain(TimePoint now);

private:
    [[nodiscard]] MQTTEngine& engine() const { return queue_->engine(); }
    [[nodiscard]] PendingRequests& requests() const { return queue_->requests(); }
    void loadOutbox();

    void restoreTopics(bool sessionPresent);
    void answersWereTaken(std::span<const SentThing> things);
    void giveUp(const SentThing& thing);

    Outbox outbox_;
    GrantedTopics granted_;
    TopicRemovals removals_;
    Suspects suspects_;
    bool keepsSession_;
    bool wasRestorationAwaited_ = false;  // before the newest CONNECT
    std::size_t maxPacketSize_;
    std::deque<UntoldOutcome> untold_;
    std::size_t unsendableTold_ = 0;  // of the granted topics that cannot be sent any more

    std::optional<SendQueue> queue_;  // of the connection, while it is open
};

}  // namespace xel
