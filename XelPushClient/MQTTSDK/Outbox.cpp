#include "XelPushClient/MQTTSDK/Outbox.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"

namespace xel {
namespace {

// A greater payload's copy is given back after use.
constexpr std::size_t kKeptScratchSize = std::size_t{16} * 1024;

// Any identifier but 0, for sizes: every QoS 1 packet has one.
constexpr std::uint16_t kSomePacketId = 1;

std::string encode(const OutboxEntry& entry) {
    std::string packet;
    packet.reserve(publishPacketSize(entry.topic, entry.payload, entry.packetId));
    appendPublish(packet, entry.topic, entry.payload, entry.packetId, entry.retain);
    return packet;
}

}  // namespace

Outbox::Outbox(SessionMemory& memory, std::string clientId, std::shared_ptr<PacketIds> packetIds,
               const MQTTSessionOptions& options)
    : memory_(memory),
      clientId_(std::move(clientId)),
      packetIds_(std::move(packetIds)),
      maxPacketSize_(std::min(options.maxPacketSize, kMQTTMaxRemainingLength)),
      maxPublications_(options.maxOutboxPublications),
      maxOctets_(options.maxOutboxOctets) {
    load();
}

void Outbox::load() {
    std::vector<std::uint16_t> unusable;
    for (const OutboxEntry& entry : memory_.loadOutbox(clientId_)) {
        if (!restore(entry)) {
            unusable.push_back(entry.packetId);
        }
    }
    // What a damaged store holds under an identifier of a sound publication stays there until that one is
    // settled.
    std::erase_if(unusable, [&](std::uint16_t id) { return byPacketId_.contains(id); });
    if (!unusable.empty()) {
        memory_.removeFromOutbox(clientId_, unusable);
    }
}

bool Outbox::restore(const OutboxEntry& entry) {
    // The size limit was that of its making: it may be another one now.
    if (!isValidTopicName(entry.topic) ||
        publishPacketSize(entry.topic, entry.payload, kSomePacketId) > kMQTTMaxRemainingLength ||
        !packetIds_->reserve(entry.packetId)) {
        return false;
    }
    // Whether it was written before the process ended is not known, so it counts as written.
    append(entry.packetId, encode(entry), true);
    return true;
}

Result<Outbox::Publication*> Outbox::add(std::string_view topic, std::string_view data, bool retain) {
    const std::size_t size = publishPacketSize(topic, data, kSomePacketId);
    if (size > maxPacketSize_) {
        return makeTooLargeError(topic, size, maxPacketSize_);
    }
    scratch_.packetId = hasRoomFor(size) ? packetIds_->take() : std::uint16_t{0};
    if (scratch_.packetId == 0) {
        return makeMQTTError(MQTTErrorCode::OutboxFull,
                             "the outbox is full: " + std::to_string(publications_.size()) +
                                 " publications (" + std::to_string(octets_) +
                                 " octets) wait for the broker's acknowledgement");
    }
    scratch_.topic.assign(topic);
    scratch_.payload.assign(data);
    scratch_.retain = retain;
    const Result<void> stored = memory_.appendToOutbox(clientId_, scratch_);
    Publication* publication = nullptr;
    if (stored) {
        publication = &append(scratch_.packetId, encode(scratch_), false);
    } else {
        packetIds_->release(scratch_.packetId);
    }
    if (scratch_.payload.capacity() > kKeptScratchSize) {
        scratch_.payload = std::string();
    }
    if (!stored) {
        return makeMQTTError(MQTTErrorCode::PublicationNotStored,
                             "the publication could not be stored: " + describeError(stored.error()));
    }
    return publication;
}

bool Outbox::settle(std::uint16_t packetId) {
    const auto found = byPacketId_.find(packetId);
    if (found == byPacketId_.end()) {
        return false;
    }
    octets_ -= found->second->packet.size();
    publications_.erase(found->second);
    byPacketId_.erase(found);
    settled_.push_back(packetId);
    return true;
}

void Outbox::commitSettled() {
    if (settled_.empty()) {
        return;
    }
    // The identifiers become free only now: given out before, one would name two publications in the memory.
    memory_.removeFromOutbox(clientId_, settled_);
    for (const std::uint16_t packetId : settled_) {
        packetIds_->release(packetId);
    }
    settled_.clear();
}

void Outbox::write(Publication& publication, std::string& out) {
    const std::size_t begin = out.size();
    out.append(publication.packet);
    if (publication.wasWritten) {
        out[begin] = static_cast<char>(static_cast<unsigned char>(out[begin]) | kMQTTDuplicateFlag);
    }
    publication.wasWritten = true;
}

Outbox::Publication& Outbox::append(std::uint16_t packetId, std::string packet, bool wasWritten) {
    octets_ += packet.size();
    publications_.push_back({packetId, std::move(packet), wasWritten});
    byPacketId_[packetId] = std::prev(publications_.end());
    return publications_.back();
}

bool Outbox::hasRoomFor(std::size_t packetSize) const {
    return publications_.size() < maxPublications_ && octets_ + packetSize <= maxOctets_;
}

}  // namespace xel
