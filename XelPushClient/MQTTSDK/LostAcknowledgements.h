#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <unordered_map>

#include "XelPushClient/Foundation/KeyedHash.h"

namespace xel {

/// The QoS 1 publications whose acknowledgement was written and may be lost with its connection: how the
/// session recognises one that the broker sends again although the owner has had it.
///
/// An acknowledgement has arrived once the broker answers anything that was written behind it on the same
/// connection, because a broker reads in order. Publications that are sent again come first after a
/// reconnect, so the first new one ends what is remembered of earlier connections. At most the newest 4,096
/// are remembered, in memory only. Owner: the session. Thread: its run loop.
class LostAcknowledgements {
public:
    static constexpr std::size_t kMostRemembered = 4096;

    /// Of an acknowledgement that the end of its connection came before.
    static constexpr std::uint64_t kNeverWritten = std::numeric_limits<std::uint64_t>::max();

    /// A new connection: what was remembered before is of earlier ones. Without the session at the broker
    /// nothing is sent again.
    void connectionDidOpen(bool sessionPresent);

    /// An acknowledgement was written, at that place of what the connection writes.
    void didAcknowledge(std::uint16_t packetId, const KeyedHash& hash, std::uint64_t place);

    /// The broker has answered what was written at that place.
    void didReceiveAnswerTo(std::uint64_t place);

    /// Whether the owner has had the publication, going by what is remembered, and forgets what a publication
    /// without the duplicate flag (MQTT 3.1.1 section 3.3.1.1) makes obsolete. Ask once for each that
    /// arrives.
    [[nodiscard]] bool takeArrival(std::uint16_t packetId, bool isMarkedAsDuplicate, const KeyedHash& hash);

    [[nodiscard]] std::size_t count() const { return byPacketId_.size(); }

private:
    struct Entry {
        KeyedHash hash;
        std::uint64_t number = 0;
    };
    struct Place {
        std::uint16_t packetId = 0;
        std::uint64_t number = 0;
        std::uint64_t place = 0;
    };

    void forgetOldest();
    /// Whether the acknowledgement at that place is the newest one of its identifier, and remembered.
    [[nodiscard]] bool isCurrent(const Place& place) const;
    void forgetEarlierConnections();

    std::unordered_map<std::uint16_t, Entry> byPacketId_;
    /// A node that was freed, for the next entry: in a flood nothing is allocated.
    std::unordered_map<std::uint16_t, Entry>::node_type spare_;
    std::deque<Place> inOrder_;  // also of entries that are gone: the number tells
    std::uint64_t nextNumber_ = 1;
    std::uint64_t firstOfThisConnection_ = 1;
    std::uint64_t answeredPlace_ = 0;
    bool isKeptSession_ = false;
};

}  // namespace xel
