#include "XelPushClient/MQTTSDK/PacketIds.h"

#include <bit>
#include <limits>

namespace xel {
namespace {

constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t kNone = 65'536;

std::uint64_t bit(std::size_t index) {
    return std::uint64_t{1} << (index % 64);
}

std::uint64_t bitsFrom(std::size_t index) {
    return kAll << (index % 64);
}

}  // namespace

PacketIds::PacketIds() {
    used_[0] = bit(0);  // 0 is no identifier
}

std::uint16_t PacketIds::take() {
    std::size_t id = firstFreeFrom(next_);
    if (id == kNone) {
        id = firstFreeFrom(0);
    }
    if (id == kNone) {
        return 0;
    }
    mark(id);
    next_ = (id + 1) % kNone;
    return static_cast<std::uint16_t>(id);
}

bool PacketIds::isInUse(std::uint16_t id) const {
    return id != 0 && (used_[id / kBits] & bit(id)) != 0;
}

bool PacketIds::reserve(std::uint16_t id) {
    if ((used_[id / kBits] & bit(id)) != 0) {
        return false;
    }
    mark(id);
    // New ones come behind those of an earlier life, in the order in which they were given out.
    next_ = (std::size_t{id} + 1) % kNone;
    return true;
}

void PacketIds::release(std::uint16_t id) {
    if (id == 0 || (used_[id / kBits] & bit(id)) == 0) {
        return;
    }
    used_[id / kBits] &= ~bit(id);
    full_[id / kBits / kBits] &= ~bit(id / kBits);
    --countInUse_;
}

void PacketIds::mark(std::size_t id) {
    const std::size_t word = id / kBits;
    used_[word] |= bit(id);
    if (used_[word] == kAll) {
        full_[word / kBits] |= bit(word);
    }
    ++countInUse_;
}

std::size_t PacketIds::firstFreeFrom(std::size_t id) const {
    const std::size_t word = id / kBits;
    if (const std::uint64_t free = ~used_[word] & bitsFrom(id); free != 0) {
        return word * kBits + static_cast<std::size_t>(std::countr_zero(free));
    }
    const std::size_t from = word + 1;
    for (std::size_t group = from / kBits; group < full_.size(); ++group) {
        const std::uint64_t candidates = group == from / kBits ? bitsFrom(from) : kAll;
        if (const std::uint64_t free = ~full_[group] & candidates; free != 0) {
            const std::size_t found = group * kBits + static_cast<std::size_t>(std::countr_zero(free));
            return found * kBits + static_cast<std::size_t>(std::countr_zero(~used_[found]));
        }
    }
    return kNone;
}

}  // namespace xel
