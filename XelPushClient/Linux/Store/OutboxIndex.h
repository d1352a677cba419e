#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <memory>

namespace xel {

/// Where each of a client's packet identifiers lies in the outbox: its row, 0 for none. Constant time, no
/// hashing, memory only for the ranges in use.
class OutboxIndex {
public:
    /// Whether a number from the disk can be a packet identifier (MQTT 3.1.1 section 2.3.1).
    [[nodiscard]] static bool isPacketId(std::int64_t number) {
        return number > 0 && number <= std::numeric_limits<std::uint16_t>::max();
    }

    [[nodiscard]] std::int64_t row(std::uint16_t packetId) const {
        const auto& page = pages_[packetId >> 8U];
        return page ? (*page)[packetId & 0xffU] : 0;
    }

    /// Makes room for the identifier, so that `setRow` throws nothing.
    void reserve(std::uint16_t packetId) {
        auto& page = pages_[packetId >> 8U];
        if (!page) {
            page = std::make_unique<Page>();
        }
    }

    void setRow(std::uint16_t packetId, std::int64_t row) {
        reserve(packetId);
        (*pages_[packetId >> 8U])[packetId & 0xffU] = row;
    }

private:
    using Page = std::array<std::int64_t, 256>;
    std::array<std::unique_ptr<Page>, 256> pages_;
};

}  // namespace xel
