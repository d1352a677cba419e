#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "XelPushClient/MQTTSDK/KeyedHash.h"

namespace xel {

/// The publications that are delivered together and acknowledged together, of one connection; one after the
/// other.
///
/// Idle, then Delivering while publications go to the owner, then Closing until the owner is asked to store
/// what it keeps of them, then AwaitingAcknowledgement until it has, then Idle again.
class Turn {
public:
    /// One fewer than the message identifiers that the client remembers, because it forgets the oldest before
    /// it compares the new one: of a longer turn that is sent again, none would be recognised.
    static constexpr std::size_t kMostPublications = 24;

    enum class State { Idle, Delivering, Closing, AwaitingAcknowledgement };

    [[nodiscard]] State state() const { return state_; }
    [[nodiscard]] bool isIdle() const { return state_ == State::Idle; }
    [[nodiscard]] bool isDelivering() const { return state_ == State::Delivering; }
    [[nodiscard]] bool hasRoom() const {
        return isIdle() || (isDelivering() && publicationCount_ < kMostPublications);
    }

    /// Tells this turn from those before and after it.
    [[nodiscard]] std::uint64_t number() const { return number_; }

    void begin() {
        state_ = State::Delivering;
        ++number_;
        publicationCount_ = 0;
        packetIdCount_ = 0;
    }

    /// Counts a publication at QoS 0, and one that needs an acknowledgement.
    void add() { ++publicationCount_; }
    void add(std::uint16_t packetId, const PublicationHash& hash) {
        add();
        packetIds_[packetIdCount_] = packetId;
        hashes_[packetIdCount_++] = hash;
    }

    void beginClosing() { state_ = State::Closing; }
    void beginAwaitingAcknowledgement() { state_ = State::AwaitingAcknowledgement; }
    void end() { state_ = State::Idle; }

    /// What is to be acknowledged, in the order of delivery.
    [[nodiscard]] std::span<const std::uint16_t> packetIds() const {
        return {packetIds_.data(), packetIdCount_};
    }
    /// The hash of each.
    [[nodiscard]] std::span<const PublicationHash> hashes() const { return {hashes_.data(), packetIdCount_}; }

private:
    State state_ = State::Idle;
    std::uint64_t number_ = 0;
    std::size_t publicationCount_ = 0;
    std::size_t packetIdCount_ = 0;
    std::array<std::uint16_t, kMostPublications> packetIds_{};
    std::array<PublicationHash, kMostPublications> hashes_{};
};

}  // namespace xel
