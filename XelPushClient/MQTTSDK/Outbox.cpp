#include "XelPushClient/MQTTSDK/Outbox.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTEngine.h"
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
    if (isLoaded_) {
        return;
    }
    auto entries = memory_.loadOutbox(clientId_);
    if (!entries) {
        whyNotLoaded_ = describeError(entries.error());
        return;
    }
    for (const OutboxEntry& entry : entries.value()) {
        // Given to a SUBSCRIBE or UNSUBSCRIBE meanwhile, which the broker will have answered at some time.
        if (packetIds_->isInUse(entry.packetId)) {
            whyNotLoaded_ = "packet identifier " + std::to_string(entry.packetId) +
                            " is in use until the broker answers a request";
            return;
        }
    }
    doThenAlways([&] { restoreAll(std::move(entries).value()); },
                 [this](bool isWhole) {
                     isLoaded_ = isWhole;
                     if (!isWhole) {
                         unload();
                     }
                 });
}

void Outbox::restoreAll(std::vector<OutboxEntry> entries) {
    for (OutboxEntry& entry : entries) {
        restore(std::move(entry));
    }
    for (Unusable& unusable : unusable_) {
        // What a damaged store holds under an identifier of a sound publication leaves it with that one.
        if (!packetIds_->reserve(unusable.entry.packetId)) {
            unusable.entry.packetId = 0;
        }
    }
}

void Outbox::restore(OutboxEntry entry) {
    // The size limit was that of its making: it may be another one now.
    const std::size_t size = publishPacketSize(entry.topic, entry.payload, kSomePacketId);
    if (!isSendableTopicName(entry.topic)) {
        NSError error = makeNotSendableError(entry.topic);
        unusable_.push_back({std::move(entry), std::move(error)});
    } else if (size > kMQTTMaxRemainingLength) {
        NSError error = makeTooLargeError(entry.topic, size, kMQTTMaxRemainingLength);
        unusable_.push_back({std::move(entry), std::move(error)});
    } else if (entry.packetId == 0 || packetIds_->isInUse(entry.packetId)) {
        NSError error = makeMQTTError(MQTTErrorCode::PublicationNotStored,
                                      "the store is damaged: it holds the publication on topic '" +
                                          shownName(entry.topic) + "' under packet identifier " +
                                          std::to_string(entry.packetId) + ", which is taken");
        unusable_.push_back({std::move(entry), std::move(error)});
    } else {
        // Whether it was written before the process ended is not known, so it counts as written.
        append(entry.packetId, encode(entry), true);
        // Not before there is something to which it belongs, or nobody would give it back.
        packetIds_->reserve(entry.packetId);
    }
}

void Outbox::unload() {
    for (const Publication& publication : publications_) {
        packetIds_->release(publication.packetId);
    }
    for (const Unusable& unusable : unusable_) {
        packetIds_->release(unusable.entry.packetId);
    }
    next_ = publications_.end();
    byPacketId_.clear();
    publications_.clear();
    unusable_.clear();
    octets_ = 0;
}

std::optional<Outbox::Unusable> Outbox::takeUnusable() {
    if (unusable_.empty()) {
        return std::nullopt;
    }
    Unusable unusable = std::move(unusable_.front());
    unusable_.pop_front();
    // Not before somebody is told: a process that is killed until then reports it in its next life.
    settled_.push_back(unusable.entry.packetId);
    commitSettled();
    return unusable;
}

Result<Outbox::Publication*> Outbox::add(std::string_view topic, std::string_view data, bool retain) {
    const std::size_t size = publishPacketSize(topic, data, kSomePacketId);
    if (size > maxPacketSize_) {
        return makeTooLargeError(topic, size, maxPacketSize_);
    }
    if (!isLoaded_) {
        return makeMQTTError(MQTTErrorCode::PublicationNotStored,
                             "the publication could not be stored, because those stored before could not be "
                             "read: " +
                                 whyNotLoaded_);
    }
    const std::uint16_t packetId = hasRoomFor(size) ? packetIds_->take() : std::uint16_t{0};
    if (packetId == 0) {
        return makeMQTTError(MQTTErrorCode::OutboxFull,
                             "the outbox is full: " + std::to_string(publications_.size()) +
                                 " publications (" + std::to_string(octets_) +
                                 " octets) wait for the broker's acknowledgement");
    }
    // One entry is used again and again: its texts keep their memory from one publication to the next.
    Publication* publication = nullptr;
    Result<void> stored;
    doThenAlways(
        [&] {
            scratch_.packetId = packetId;
            scratch_.topic.assign(topic);
            scratch_.payload.assign(data);
            scratch_.retain = retain;
            // Here first, where memory may run out: what is stored counts as promised.
            publication = &append(packetId, encode(scratch_), false);
            // Before it is written anywhere, and before the caller hears that it was taken.
            stored = memory_.appendToOutbox(clientId_, scratch_);
        },
        [&](bool isWhole) {
            if (!isWhole || !stored) {
                takeBack(packetId);
            }
            if (scratch_.payload.capacity() > kKeptScratchSize) {
                scratch_.payload = std::string();
            }
        });
    if (!stored) {
        return makeMQTTError(MQTTErrorCode::PublicationNotStored,
                             "the publication could not be stored: " + describeError(stored.error()));
    }
    return publication;
}

std::optional<Outbox::Publication> Outbox::settle(std::uint16_t packetId) {
    const auto found = byPacketId_.find(packetId);
    if (found == byPacketId_.end()) {
        return std::nullopt;
    }
    settled_.push_back(packetId);  // first, because it may throw
    return takeOut(found);
}

void Outbox::drop(std::uint16_t packetId) {
    static_cast<void>(settle(packetId));
    commitSettled();
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

void Outbox::write(Publication& publication, MQTTEngine& engine) {
    publication.place = engine.publishAtLeastOnce(publication.packet, publication.wasWritten);
    publication.wasWritten = true;
    ++unanswered_;
}

void Outbox::connectionDidEnd() {
    next_ = publications_.begin();
    // Spares a walk through the whole outbox, which may hold tens of thousands.
    if (unanswered_ == 0) {
        return;
    }
    for (Publication& publication : publications_) {
        publication.place.reset();
    }
    unanswered_ = 0;
}

std::pair<std::string_view, std::string_view> Outbox::contentOf(const Publication& publication) {
    MQTTDecoder decoder(kMQTTMaxRemainingLength);
    std::string_view octets = publication.packet;
    MQTTInboundPacket packet;
    static_cast<void>(decoder.decode(octets, packet));
    return {packet.topic, packet.payload};
}

Outbox::Publication& Outbox::append(std::uint16_t packetId, std::string packet, bool wasWritten) {
    publications_.push_back({packetId, std::move(packet), wasWritten, std::nullopt});
    try {
        byPacketId_.emplace(packetId, std::prev(publications_.end()));
    } catch (...) {
        publications_.pop_back();
        throw;
    }
    octets_ += publications_.back().packet.size();
    if (next_ == publications_.end()) {
        next_ = std::prev(publications_.end());
    }
    return publications_.back();
}

Outbox::Publication Outbox::takeOut(ByPacketId::iterator found) {
    Publication publication = std::move(*found->second);
    unanswered_ -= publication.place ? 1 : 0;
    octets_ -= publication.packet.size();
    if (next_ == found->second) {
        ++next_;
    }
    publications_.erase(found->second);
    byPacketId_.erase(found);
    return publication;
}

// The caller hears that it failed.
void Outbox::takeBack(std::uint16_t packetId) {
    if (const auto found = byPacketId_.find(packetId); found != byPacketId_.end()) {
        static_cast<void>(takeOut(found));
    }
    packetIds_->release(packetId);
}

bool Outbox::hasRoomFor(std::size_t packetSize) const {
    return publications_.size() < maxPublications_ && octets_ + packetSize <= maxOctets_;
}

}  // namespace xel
