#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/MQTTSDK/PacketIds.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// A session's QoS 1 publications that the broker has not acknowledged, in the order in which they were made:
/// as packets ready to be written, with their copy in the session's memory.
///
/// Adding and settling cost the same however many there are.
/// Owner: the session. Thread: its run loop.
class Outbox {
public:
    struct Publication {
        std::uint16_t packetId = 0;
        std::string packet;
        /// It may have reached the broker before, so the next time it is marked as a duplicate.
        bool wasWritten = false;
    };

    /// Loads what an earlier life left in the memory. The memory outlives the outbox.
    Outbox(SessionMemory& memory, std::string clientId, std::shared_ptr<PacketIds> packetIds,
           const MQTTSessionOptions& options);

    /// Makes a publication and stores it. The topic is sendable. An error when it is over a limit or could
    /// not be stored; otherwise it is durable, and the pointer is good until it is settled.
    Result<Publication*> add(std::string_view topic, std::string_view data, bool retain);

    /// The broker acknowledged: the publication is not written again. False for an identifier of none. The
    /// memory hears of it, and the identifier is free, with the next `commitSettled`.
    bool settle(std::uint16_t packetId);

    /// Tells the memory of everything settled since the last time, in one call.
    void commitSettled();

    /// Appends the packet, with the duplicate flag (MQTT 3.1.1 section 3.3.1.1) from the second time on.
    static void write(Publication& publication, std::string& out);

    /// In the order of making.
    [[nodiscard]] std::list<Publication>& publications() { return publications_; }

private:
    void load();
    bool restore(const OutboxEntry& entry);
    Publication& append(std::uint16_t packetId, std::string packet, bool wasWritten);
    [[nodiscard]] bool hasRoomFor(std::size_t packetSize) const;

    SessionMemory& memory_;
    std::string clientId_;
    std::shared_ptr<PacketIds> packetIds_;
    std::size_t maxPacketSize_;
    std::size_t maxPublications_;
    std::size_t maxOctets_;

    std::list<Publication> publications_;
    std::unordered_map<std::uint16_t, std::list<Publication>::iterator> byPacketId_;
    std::size_t octets_ = 0;
    std::vector<std::uint16_t> settled_;
    OutboxEntry scratch_;  // keeps its memory from one publication to the next
};

}  // namespace xel
