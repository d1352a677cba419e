#include "XelPushClient/Foundation/TextIndex.h"

#include <bit>
#include <functional>
#include <utility>

namespace xel {

std::uint32_t TextIndex::hashOf(std::string_view text) {
    const std::uint64_t hash = std::hash<std::string_view>{}(text);
    return static_cast<std::uint32_t>(hash ^ (hash >> 32U));
}

void TextIndex::reserve(std::size_t count) {
    const std::size_t needed = std::bit_ceil(2 * count);
    if (needed <= slots_.size()) {
        return;
    }
    for (const Slot& slot : std::exchange(slots_, std::vector<Slot>(needed))) {
        if (slot.place != kFree) {
            put(slot);
        }
    }
}

void TextIndex::add(std::string_view text, std::size_t position) {
    reserve(count_ + 1);
    put({hashOf(text), static_cast<std::uint32_t>(position + 1)});
    ++count_;
}

void TextIndex::put(Slot slot) {
    std::size_t i = slot.hash & mask();
    while (slots_[i].place != kFree) {
        i = (i + 1) & mask();
    }
    slots_[i] = slot;
}

}  // namespace xel
