#include "XelPushClient/MQTTSDK/LostAcknowledgements.h"

#include <utility>

namespace xel {

void LostAcknowledgements::connectionDidOpen(bool sessionPresent) {
    isKeptSession_ = sessionPresent;
    firstOfThisConnection_ = nextNumber_;
    answeredPlace_ = 0;
    if (!sessionPresent) {
        byPacketId_.clear();
        inOrder_.clear();
    }
}

void LostAcknowledgements::didAcknowledge(std::uint16_t packetId, const KeyedHash& hash,
                                          std::uint64_t place) {
    const Entry entry{hash, nextNumber_++};
    if (const auto known = byPacketId_.find(packetId); known != byPacketId_.end()) {
        known->second = entry;
    } else if (spare_) {
        spare_.key() = packetId;
        spare_.mapped() = entry;
        byPacketId_.insert(std::move(spare_));
    } else {
        byPacketId_.emplace(packetId, entry);
    }
    inOrder_.push_back({packetId, entry.number, place});
    while (byPacketId_.size() > kMostRemembered) {
        forgetOldest();
    }
    // What comes again and again, because connections end too soon, leaves a place each time.
    if (inOrder_.size() > 2 * kMostRemembered) {
        std::erase_if(inOrder_, [this](const Place& each) { return !isCurrent(each); });
    }
}

void LostAcknowledgements::didReceiveAnswerTo(std::uint64_t place) {
    if (place <= answeredPlace_) {
        return;
    }
    answeredPlace_ = place;
    // Those of earlier connections stand in front, and no answer on this one says anything of them.
    auto first = inOrder_.begin();
    while (first != inOrder_.end() && first->number < firstOfThisConnection_) {
        ++first;
    }
    auto behind = first;
    for (; behind != inOrder_.end() && behind->place < place; ++behind) {
        if (isCurrent(*behind)) {
            byPacketId_.erase(behind->packetId);
        }
    }
    inOrder_.erase(first, behind);
}

bool LostAcknowledgements::takeArrival(std::uint16_t packetId, bool isMarkedAsDuplicate,
                                       const KeyedHash& hash) {
    if (byPacketId_.empty()) {
        return false;
    }
    if (!isMarkedAsDuplicate) {
        forgetEarlierConnections();
        // An identifier carries something new only after the broker has had the acknowledgement of what
        // it carried before (section 2.3.1).
        byPacketId_.erase(packetId);
        return false;
    }
    // The entry stays: the acknowledgement of this repeat may be lost as well.
    const auto known = byPacketId_.find(packetId);
    return isKeptSession_ && known != byPacketId_.end() && known->second.hash == hash;
}

void LostAcknowledgements::forgetOldest() {
    const Place oldest = inOrder_.front();
    inOrder_.pop_front();
    if (isCurrent(oldest)) {
        spare_ = byPacketId_.extract(oldest.packetId);
    }
}

bool LostAcknowledgements::isCurrent(const Place& place) const {
    const auto known = byPacketId_.find(place.packetId);
    return known != byPacketId_.end() && known->second.number == place.number;
}

void LostAcknowledgements::forgetEarlierConnections() {
    while (!inOrder_.empty() && inOrder_.front().number < firstOfThisConnection_) {
        forgetOldest();
    }
}

}  // namespace xel
