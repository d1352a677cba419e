#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/MQTTConnection.h"
#include "XelPushClient/MQTTSDK/Outbox.h"
#include "XelPushClient/MQTTSDK/SentThing.h"
#include "XelPushClient/MQTTSDK/Suspects.h"
#include "XelPushClient/MQTTSDK/WaitingRequests.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

/// What one connection sends, and when: as a rule each thing at once; one thing at a time, each after the
/// answer to the one before, while the broker ends connections on something. Requests go ahead of
/// publications.
///
/// What is set aside is passed over until it is tried alone: a request is parked, a publication stays in the
/// outbox. Of an answer this knows only that something may follow. Owner: the session's outgoing traffic, as
/// long as the connection is open. Thread: the session's run loop.
class SendQueue {
public:
    using TimePoint = Suspects::TimePoint;

    /// The outbox and the suspects outlive this.
    SendQueue(std::shared_ptr<MQTTConnection> connection, Outbox& outbox, Suspects& suspects);
    SendQueue(const SendQueue&) = delete;
    SendQueue& operator=(const SendQueue&) = delete;

    [[nodiscard]] MQTTEngine& engine() const { return connection_->engine(); }
    [[nodiscard]] PendingRequests& requests() const { return engine().requests(); }

    /// Whether what is sent now waits for its turn.
    [[nodiscard]] bool isHolding() const { return isOneAtATime_ || trying_; }
    /// Whether a request for the thing is to ask for nothing else, so that an end of the connection on it
    /// accuses no other thing.
    [[nodiscard]] bool leavesAlone(const SentThing& thing) const {
        return isHolding() || suspects_.isSetAside(thing);
    }

    [[nodiscard]] bool isAwaitingAnswer() const { return countUnanswered() != 0; }
    /// The thing that is unanswered; none when it is not one thing.
    [[nodiscard]] std::optional<SentThing> onlyUnanswered() const;

    // What is to be sent: written at once or in its turn.

    /// Adds what becomes of it to the outcome. Not while this is holding.
    void send(SubscribeRequest request, MQTTSubscribeOutcome& outcome);
    /// The same for topics that get a request each.
    void sendOneByOne(SubscribePurpose purpose, std::vector<SubscribeRequest::Topic> topics,
                      MQTTSubscribeOutcome& outcome);
    /// The request is pending under the identifier.
    void sendUnsubscribe(std::uint16_t packetId);
    /// One that was just added to the outbox.
    void send(Outbox::Publication& publication);
    /// Written at once, so not while this is holding.
    void sendAtMostOnce(std::string_view topic, std::string_view data, bool retain);
    /// Writes what waits, as far as its turn has come.
    void goOn();
    /// A request parked for the topic is not sent: the contrary is asked for now.
    void dropParked(SentThing::Kind kind, std::string_view topic);

    /// Whether it matters for which things the broker answers: as a rule only that it does.
    [[nodiscard]] bool looksAtAnswers() const { return !suspects_.isEmpty(); }
    /// The broker has answered for these. Writes what may follow.
    void answersWereTaken(std::span<const SentThing> things);

    // What was set aside.

    /// When to call `tryAgain`; none when there is nothing to try.
    [[nodiscard]] std::optional<TimePoint> nextTry() const;
    void tryAgain(TimePoint now);

private:
    [[nodiscard]] std::size_t countUnanswered() const;
    [[nodiscard]] bool isSetAside(std::uint16_t packetId) const;

    /// The outcome is that of the owner's call in which the request is written.
    void writeOrHold(std::uint16_t packetId, MQTTSubscribeOutcome& outcome);
    void write(std::uint16_t packetId, MQTTSubscribeOutcome& outcome);
    void write(std::uint16_t packetId);
    void write(Outbox::Publication& publication);
    void writeAllHeld();
    bool writeNextHeld();
    bool writeHeldRequest();
    bool writeNextPublication();

    void everythingWasAnswered();
    [[nodiscard]] bool canTry(const SentThing& thing) const;
    [[nodiscard]] std::optional<Suspects::Try> nextThingToTry() const;
    void writeTried();

    std::shared_ptr<MQTTConnection> connection_;
    Outbox& outbox_;
    Suspects& suspects_;
    WaitingRequests waiting_;
    bool isOneAtATime_;
    std::optional<SentThing> trying_;  // alone, or as soon as nothing else is unanswered
};

}  // namespace xel
