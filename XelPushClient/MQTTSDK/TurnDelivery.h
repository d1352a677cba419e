#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "XelPushClient/Foundation/KeyedHash.h"
#include "XelPushClient/MQTTSDK/LostAcknowledgements.h"
#include "XelPushClient/MQTTSDK/MQTTConnectionObserver.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"

namespace xel {

/// The delivery of one connection's publications to its session, turn by turn: those of a turn are delivered
/// together and acknowledged together.
///
/// Idle, then Delivering while publications go to the session, then Closing until the session is asked to
/// store what it keeps of them, or ClosingSkipped when there was no delegate to ask, then
/// AwaitingAcknowledgement until it has, then Idle again. Owner: the connection. Thread: the run loop.
class TurnDelivery {
public:
    /// One fewer than the message identifiers that the client remembers, because it forgets the oldest before
    /// it compares the new one: of a longer turn that is sent again, none would be recognised.
    static constexpr std::size_t kMostPublications = 24;

    enum class State { Idle, Delivering, Closing, ClosingSkipped, AwaitingAcknowledgement };

    TurnDelivery(std::shared_ptr<SessionAnchor> anchor,
                 std::shared_ptr<LostAcknowledgements> acknowledgements)
        : anchor_(std::move(anchor)), acknowledgements_(std::move(acknowledgements)) {}

    [[nodiscard]] State state() const { return state_; }
    [[nodiscard]] bool isIdle() const { return state_ == State::Idle; }
    [[nodiscard]] bool isDelivering() const { return state_ == State::Delivering; }
    [[nodiscard]] bool hasRoom() const {
        return isIdle() || (isDelivering() && publicationCount_ < kMostPublications);
    }

    /// Tells this turn from those before and after it.
    [[nodiscard]] std::uint64_t number() const { return number_; }

    /// Begins a turn unless one is under way, and tells the session, which may throw, or close the
    /// connection.
    void begin();
    /// Gives the session a publication of the turn under way. One whose handling throws counts as delivered,
    /// unless it was not taken.
    void deliver(const MQTTInboundPacket& publication);

    void beginClosing() { state_ = State::Closing; }
    /// There was no delegate to run the closing of that turn.
    void skipClosing(std::uint64_t turn);

    /// The session runs the closing of that turn between these two.
    void willClose(std::uint64_t turn);
    void didClose() { isBeingClosed_ = false; }
    [[nodiscard]] bool isBeingClosed() const { return isBeingClosed_; }

    /// The session has stored what it keeps of that turn: the turn ends. False when it is not what is waited
    /// for.
    [[nodiscard]] bool end(std::uint64_t turn);

    /// What the broker sends again if the acknowledgements that were written at that place are lost.
    void rememberAcknowledgements(std::uint64_t place);

    /// Nothing of the turn is to be acknowledged any more.
    void forgetAcknowledgements() { packetIdCount_ = 0; }

    /// What is to be acknowledged, in the order of delivery.
    [[nodiscard]] std::span<const std::uint16_t> packetIds() const {
        return {packetIds_.data(), packetIdCount_};
    }

private:
    std::shared_ptr<SessionAnchor> anchor_;
    std::shared_ptr<LostAcknowledgements> acknowledgements_;
    bool isBeingClosed_ = false;
    State state_ = State::Idle;
    std::uint64_t number_ = 0;
    std::size_t publicationCount_ = 0;
    std::size_t packetIdCount_ = 0;
    std::array<std::uint16_t, kMostPublications> packetIds_{};
    std::array<KeyedHash, kMostPublications> hashes_{};
};

}  // namespace xel
