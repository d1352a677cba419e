#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace xel {

/// The packet identifiers of one session (MQTT 3.1.1 section 2.3.1): 1 to 65,535, none given out twice while
/// it is in use, each one as late as possible. A fixed number of steps for each call, however many are in
/// use.
class PacketIds {
public:
    PacketIds();

    /// The next identifier that is not in use, or 0 when all are.
    [[nodiscard]] std::uint16_t take();

    [[nodiscard]] bool isInUse(std::uint16_t id) const;

    /// Marks an identifier as in use. False when it was already, or is 0.
    bool reserve(std::uint16_t id);

    /// Harmless for an identifier that is not in use.
    void release(std::uint16_t id);

    [[nodiscard]] std::size_t countInUse() const { return countInUse_; }

private:
    static constexpr std::size_t kBits = 64;
    static constexpr std::size_t kWords = 65'536 / kBits;

    void mark(std::size_t id);
    [[nodiscard]] std::size_t firstFreeFrom(std::size_t id) const;

    // A set bit is an identifier in use; in the summary, a word without a free one.
    std::array<std::uint64_t, kWords> used_{};
    std::array<std::uint64_t, kWords / kBits> full_{};
    std::size_t next_ = 1;
    std::size_t countInUse_ = 0;
};

}  // namespace xel
