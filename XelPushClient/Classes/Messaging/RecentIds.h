#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace xel {

/// The ids seen last, oldest first: at most 25 of them, one id perhaps several times. Whether one is among
/// them is looked up by its hash; a hit compares the texts.
class RecentIds {
public:
    static constexpr std::size_t kMost = 25;

    [[nodiscard]] std::size_t size() const { return size_; }
    /// From the oldest, 0, on.
    [[nodiscard]] const std::string& at(std::size_t index) const { return ids_[slot(index)]; }
    [[nodiscard]] bool contains(std::string_view id) const;

    /// In place of the oldest when there are 25.
    void append(std::string_view id);
    /// There is one.
    void removeOldest();
    void removeNewest() { --size_; }

private:
    [[nodiscard]] std::size_t slot(std::size_t index) const { return (oldest_ + index) % kMost; }
    [[nodiscard]] bool isInUse(std::size_t at) const { return (at + kMost - oldest_) % kMost < size_; }

    // Slots that are not in use keep their texts, whose memory is used again.
    std::array<std::size_t, kMost> hashes_{};
    std::array<std::string, kMost> ids_;
    std::size_t oldest_ = 0;
    std::size_t size_ = 0;
};

}  // namespace xel
