#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace xel {

/// Appends the number in unsigned LEB128: seven bits an octet, the lowest first; the high bit says that more
/// follow.
inline void appendNumber(std::string& octets, std::uint64_t number) {
    while (number >= 0x80U) {
        octets.push_back(static_cast<char>(0x80U | (number & 0x7fU)));
        number >>= 7U;
    }
    octets.push_back(static_cast<char>(number));
}

/// Appends the length as a number, and the text.
inline void appendText(std::string& octets, std::string_view text) {
    appendNumber(octets, text.size());
    octets.append(text);
}

/// Takes apart what was appended. Everything is missing where the octets cannot be that.
class OctetReader {
public:
    explicit OctetReader(std::string_view octets) : rest_(octets) {}

    [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

    [[nodiscard]] std::optional<char> octet() {
        if (rest_.empty()) {
            return std::nullopt;
        }
        const char first = rest_.front();
        rest_.remove_prefix(1);
        return first;
    }

    [[nodiscard]] std::optional<std::uint64_t> number() {
        std::uint64_t result = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const auto next = octet();
            if (!next) {
                return std::nullopt;
            }
            const auto bits = static_cast<std::uint64_t>(static_cast<unsigned char>(*next));
            // A number is written in one way only: whatever else is read is damage, not a number.
            const bool isTooBig = shift == 63 && bits > 1;
            const bool isOverlong = shift > 0 && bits == 0;
            if (isTooBig || isOverlong) {
                return std::nullopt;
            }
            result |= (bits & 0x7fU) << shift;
            if ((bits & 0x80U) == 0) {
                return result;
            }
        }
        return std::nullopt;
    }

    /// So many octets as they stand.
    [[nodiscard]] std::optional<std::string_view> octets(std::uint64_t length) {
        if (length > rest_.size()) {
            return std::nullopt;
        }
        const auto taken = rest_.substr(0, static_cast<std::size_t>(length));
        rest_.remove_prefix(taken.size());
        return taken;
    }

    [[nodiscard]] std::optional<std::string_view> text() {
        const auto length = number();
        return length ? octets(*length) : std::nullopt;
    }

    /// A count of things that take `least` octets each, or more. It is believed only as far as there are
    /// octets, so that a damaged one makes nobody allocate.
    [[nodiscard]] std::optional<std::size_t> count(std::size_t least) {
        const auto announced = number();
        if (!announced || *announced > rest_.size() / least) {
            return std::nullopt;
        }
        return static_cast<std::size_t>(*announced);
    }

private:
    std::string_view rest_;
};

}  // namespace xel
