#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "XelPushClient/MQTTSDK/GrantedTopics.h"
#include "XelPushClient/MQTTSDK/MQTTConnection.h"
#include "XelPushClient/MQTTSDK/Outbox.h"
#include "XelPushClient/MQTTSDK/SentThing.h"
#include "XelPushClient/MQTTSDK/Suspects.h"
#include "XelPushClient/MQTTSDK/TopicRemovals.h"
#include "XelPushClient/MQTTSDK/WaitingRequests.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

/// What a session sends, and in which order: as a rule everything at once; one thing at a time, each after
/// the answer to the one before, while the broker ends connections on something.
///
/// Right after a connect come the topics that the broker is still to be told to forget, the granted ones that
/// it has lost, then the outbox. Owner: the session. Thread: its run loop.
class OutgoingTraffic {
public:
    using TimePoint = Suspects::TimePoint;

    /// The memory outlives this.
    OutgoingTraffic(SessionMemory& memory, const MQTTSessionParameters& parameters,
                    const std::shared_ptr<PacketIds>& packetIds, const MQTTSessionOptions& options);

    /// The next thing to tell the delegate. One that the memory holds leaves it when it is taken.
    [[nodiscard]] std::optional<UntoldOutcome> takeUntold();
    [[nodiscard]] bool hasUntold() const { return !untold_.empty() || outbox_.hasUnusable(); }

    // The connection.

    /// The broker has accepted it: what is due is written.
    void connectionDidOpen(const std::shared_ptr<MQTTConnection>& connection, bool sessionPresent);
    /// The connection is over: the broker ended it by itself, or it was lost, or closed by us.
    void connectionDidEnd(bool wasEndedByBroker, TimePoint now);
    [[nodiscard]] bool isAwaitingAnswer() const { return countUnanswered() != 0; }

    // What the owner asks for.

    MQTTSubscribeOutcome subscribe(const TopicTable& topics, SubscribePurpose purpose);
    MQTTUnsubscribeOutcome unsubscribe(std::span<const std::string_view> topics);
    /// At QoS 0: what cannot leave at once is dropped, also while things are sent one at a time, because no
    /// answer would tell it from the thing that the broker ends the connection on.
    [[nodiscard]] bool sendsAtMostOnce() const { return connection_ && !isHolding(); }
    Result<void> publishAtMostOnce(std::string_view data, std::string_view topic, bool retain);
    Result<void> publishAtLeastOnce(std::string_view data, std::string_view topic, bool retain);

    // What the broker answers. What it lets follow is written.

    void publicationWasAcknowledged(std::uint16_t packetId);
    void subscribeWasAnswered();
    void unsubscribeWasAnswered();
    /// Tells the memory of what was settled since the last time.
    void commitSettled() { outbox_.commitSettled(); }

    // What was set aside.

    /// When to call `tryAgain`; none without a connection, or when there is nothing to try.
    [[nodiscard]] std::optional<TimePoint> nextTry() const;
    void tryAgain(TimePoint now);

private:
    [[nodiscard]] MQTTEngine& engine() const { return connection_->engine(); }
    [[nodiscard]] PendingRequests& requests() const { return engine().requests(); }
    /// What is asked for now waits for its turn.
    [[nodiscard]] bool isHolding() const { return isOneAtATime_ || trying_; }
    [[nodiscard]] std::size_t countUnanswered() const;
    [[nodiscard]] std::optional<SentThing> onlyUnanswered() const;

    void sendRemovalsAgain(bool sessionPresent);
    void restoreTopics(bool sessionPresent);
    void add(SubscribeRequest request, MQTTSubscribeOutcome& outcome);
    std::uint16_t add(UnsubscribeRequest request);
    /// The outcome is that of the owner's call in which the request is written.
    void writeOrHold(std::uint16_t packetId, MQTTSubscribeOutcome& outcome);
    void writeOrHold(std::uint16_t packetId);
    void write(std::uint16_t packetId, MQTTSubscribeOutcome& outcome);
    void write(std::uint16_t packetId);
    void write(Outbox::Publication& publication);

    void writeAllHeld();
    bool writeNextHeld();
    bool writeHeldRequest();
    [[nodiscard]] bool isInTurn(const Outbox::Publication& publication) const;
    void answersWereTaken(std::span<const SentThing> things);
    void everythingWasAnswered();
    void goOn();

    [[nodiscard]] bool isSetAside(std::uint16_t packetId) const;
    [[nodiscard]] bool canTry(const SentThing& thing) const;
    [[nodiscard]] std::optional<Suspects::Try> nextThingToTry() const;
    void writeTried();
    void giveUp(const SentThing& thing);

    Outbox outbox_;
    GrantedTopics granted_;
    TopicRemovals removals_;
    Suspects suspects_;
    bool keepsSession_;
    std::size_t maxPacketSize_;
    std::deque<UntoldOutcome> untold_;

    // Of one connection.
    std::shared_ptr<MQTTConnection> connection_;
    WaitingRequests waiting_;
    bool isOneAtATime_ = false;
    std::optional<SentThing> trying_;
};

}  // namespace xel
