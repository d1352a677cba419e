#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace xel::fuzz {

/// Takes an input apart, from its front. At its end numbers are 0 and texts empty, so that every input has a
/// meaning. The parts are such as one can write by hand: digits and lines.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}
    explicit FuzzInput(std::string_view text) : rest_(text) {}

    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

    [[nodiscard]] std::uint8_t octet() {
        const auto taken = octets(1);
        return taken.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(taken.front());
    }

    /// A number below the bound, which is at most 256: the digit "0" is 0, "1" is 1, and so on.
    [[nodiscard]] std::size_t below(std::size_t bound) {
        return isAtEnd() ? 0 : static_cast<std::uint8_t>(octet() - '0') % bound;
    }

    [[nodiscard]] bool flag() { return below(2) == 1; }

    /// Eight octets, the lowest first.
    [[nodiscard]] std::uint64_t integer() {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 64; shift += 8) {
            number |= std::uint64_t{octet()} << shift;
        }
        return number;
    }
    [[nodiscard]] double real() { return std::bit_cast<double>(integer()); }

    [[nodiscard]] std::string_view octets(std::size_t count) {
        const auto taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    /// What stands before the next separator, which goes too, or before the end.
    [[nodiscard]] std::string_view until(char separator) {
        const auto taken = octets(std::min(rest_.find(separator), rest_.size()));
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return taken;
    }
    [[nodiscard]] std::string line() { return std::string(until('\n')); }

    [[nodiscard]] std::string_view rest() { return octets(rest_.size()); }

private:
    std::string_view rest_;
};

}  // namespace xel::fuzz
