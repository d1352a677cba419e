#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/MQTTSDK/PacketIds.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

class MQTTEngine;

/// A session's QoS 1 publications that the broker has not acknowledged, in the order in which they were made:
/// as packets ready to be written, with their copy in the session's memory.
///
/// Adding and settling cost the same however many there are.
/// Owner: the session's outgoing traffic. Thread: the session's run loop.
class Outbox {
public:
    struct Publication {
        std::uint16_t packetId = 0;
        std::string packet;
        /// It may have reached the broker before, so the next time it is marked as a duplicate.
        bool wasWritten = false;
        /// Where it stands in what this connection writes; none while it has not been written on it.
        std::optional<std::uint64_t> place = std::nullopt;
    };

    /// What an earlier life left in the memory and no broker may be sent.
    struct Unusable {
        OutboxEntry entry;
        NSError error;
    };

    /// Loads what an earlier life left in the memory, if that can be read. The memory outlives the outbox.
    Outbox(SessionMemory& memory, std::string clientId, std::shared_ptr<PacketIds> packetIds,
           const MQTTSessionOptions& options);

    /// Whether it is known what an earlier life left. Until then nothing is added: it could get an identifier
    /// under which a publication is stored, and take its place.
    [[nodiscard]] bool isLoaded() const { return isLoaded_; }
    /// Tries again to load it, when that is still to be done.
    void load();

    /// Makes a publication and stores it. The topic is sendable. An error when it is over a limit or could
    /// not be stored; otherwise it is durable, and the pointer is good until it is settled. Nothing is left
    /// of one that throws for want of memory.
    Result<Publication*> add(std::string_view topic, std::string_view data, bool retain);

    /// The broker acknowledged: the publication is not written again, and answered here; none for an
    /// identifier of none. The memory hears of it, and the identifier is free, with the next `commitSettled`.
    std::optional<Publication> settle(std::uint16_t packetId);
    /// It is given up: likewise not written again. The publication is there.
    void drop(std::uint16_t packetId);

    /// Tells the memory of everything settled since the last time, in one call.
    void commitSettled();

    /// Writes the packet, with the duplicate flag (MQTT 3.1.1 section 3.3.1.1) from the second time on.
    void write(Publication& publication, MQTTEngine& engine);
    /// What was written on the connection counts as not written on the next one.
    void connectionDidEnd();

    /// How many were written on this connection and not acknowledged.
    [[nodiscard]] std::size_t countUnanswered() const { return unanswered_; }

    /// In the order of making.
    [[nodiscard]] const std::list<Publication>& publications() const { return publications_; }

    /// The first that has not been written on this connection and is not passed over; null for none. What is
    /// passed over once is not looked at again before the next connection: it is written by another way.
    template <class IsPassedOver>
    [[nodiscard]] Publication* firstUnwritten(const IsPassedOver& isPassedOver) {
        while (next_ != publications_.end() && (next_->place || isPassedOver(std::as_const(*next_)))) {
            ++next_;
        }
        return next_ != publications_.end() ? &*next_ : nullptr;
    }
    [[nodiscard]] bool contains(std::uint16_t packetId) const { return byPacketId_.contains(packetId); }
    /// The publication is there.
    [[nodiscard]] Publication& at(std::uint16_t packetId) { return *byPacketId_.at(packetId); }
    /// Topic and payload, which point into the packet.
    [[nodiscard]] static std::pair<std::string_view, std::string_view> contentOf(
        const Publication& publication);

    /// Whoever tells of them takes them one by one; each leaves the memory when it is taken.
    [[nodiscard]] std::optional<Unusable> takeUnusable();
    [[nodiscard]] bool hasUnusable() const { return !unusable_.empty(); }

private:
    using ByPacketId = std::unordered_map<std::uint16_t, std::list<Publication>::iterator>;

    void restoreAll(std::vector<OutboxEntry> entries);
    void restore(OutboxEntry entry);
    void unload();
    Publication& append(std::uint16_t packetId, std::string packet, bool wasWritten);
    Publication takeOut(ByPacketId::iterator found);
    void takeBack(std::uint16_t packetId);
    [[nodiscard]] bool hasRoomFor(std::size_t packetSize) const;

    SessionMemory& memory_;
    std::string clientId_;
    std::shared_ptr<PacketIds> packetIds_;
    std::size_t maxPacketSize_;
    std::size_t maxPublications_;
    std::size_t maxOctets_;

    std::list<Publication> publications_;
    ByPacketId byPacketId_;
    /// Where `firstUnwritten` goes on. A walk from the beginning would cost every acknowledgement the whole
    /// outbox.
    std::list<Publication>::iterator next_ = publications_.end();
    std::size_t octets_ = 0;
    bool isLoaded_ = false;
    std::string whyNotLoaded_;
    std::size_t unanswered_ = 0;
    std::vector<std::uint16_t> settled_;
    std::deque<Unusable> unusable_;
    OutboxEntry scratch_;  // keeps its memory from one publication to the next
};

}  // namespace xel
