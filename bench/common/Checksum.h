#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace xel::bench {

/// A running checksum over the fields that a host callback has seen. It depends on the values, on their
/// lengths and on their order, so that a message dropped, repeated, reordered or read wrongly shows.
/// It reads eight bytes at a time, because its own cost is part of every subject's figure.
class Checksum {
public:
    void add(std::uint64_t word) { state_ = std::rotl(state_ ^ word, 29) * 0x9e3779b97f4a7c15ULL; }

    void add(std::string_view text) {
        add(static_cast<std::uint64_t>(text.size()));
        while (text.size() >= sizeof(std::uint64_t)) {
            add(wordAt(text.data(), sizeof(std::uint64_t)));
            text.remove_prefix(sizeof(std::uint64_t));
        }
        if (!text.empty()) {
            add(wordAt(text.data(), text.size()));
        }
    }

    std::uint64_t value() const { return state_; }

private:
    static std::uint64_t wordAt(const char* bytes, std::size_t count) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes, count);
        return word;
    }

    std::uint64_t state_ = 0x6a09e667f3bcc908ULL;
};

}  // namespace xel::bench
