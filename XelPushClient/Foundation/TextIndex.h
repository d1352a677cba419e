#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace xel {

/// Finds texts of a list that is kept elsewhere, in constant time, by a hash of each.
///
/// It holds hashes and positions and no text, so that the list may grow at its end and change what stands
/// beside a text. When anything in the list moves, another index is made. A plain value.
class TextIndex {
public:
    /// Among so many texts looking at each one is as quick.
    static constexpr std::size_t kLargestSearchedLinearly = 32;

    /// Makes room for so many texts altogether: adding them then allocates nothing.
    void reserve(std::size_t count);

    /// The text stands at that position. Positions are below 2^32 - 1.
    void add(std::string_view text, std::size_t position);

    /// The position added for the text, of which `isAt(position)` says whether it stands there.
    template <class IsAt>
    [[nodiscard]] std::optional<std::size_t> find(std::string_view text, IsAt&& isAt) const {
        const std::uint32_t hash = hashOf(text);
        for (std::size_t i = hash & mask(); slots_[i].place != kFree; i = (i + 1) & mask()) {
            if (slots_[i].hash == hash && isAt(slots_[i].place - 1)) {
                return slots_[i].place - 1;
            }
        }
        return std::nullopt;
    }

private:
    static constexpr std::uint32_t kFree = 0;

    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t place = kFree;  ///< one more than the position
    };

    [[nodiscard]] static std::uint32_t hashOf(std::string_view text);
    [[nodiscard]] std::size_t mask() const { return slots_.size() - 1; }
    void put(Slot slot);

    // A power of two of them, of which half at least are free, so that a search ends soon.
    std::vector<Slot> slots_ = std::vector<Slot>(2);
    std::size_t count_ = 0;
};

}  // namespace xel
