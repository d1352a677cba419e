#include "XelPushClient/Foundation/KeyedHash.h"

#include <array>
#include <bit>
#include <cstring>
#include <random>

namespace xel {
namespace {

constexpr std::size_t kBlockSize = 16;

/// Odd numbers, so that none is 0: a factor of 0 would swallow the other one.
struct Key {
    std::array<std::uint64_t, 4> words{};
};

Key randomKey() {
    std::random_device source;
    Key key;
    for (std::uint64_t& word : key.words) {
        word = (std::uint64_t{source()} << 32U | source()) | 1U;
    }
    return key;
}

/// Digits of pi behind its point.
constexpr Key kLastingKey{{0x243F6A8885A308D3, 0x13198A2E03707345, 0xA4093822299F31D1, 0x082EFA98EC4E6C89}};

/// The octets as a number, the lowest first, on each machine.
std::uint64_t wordAt(const char* octets) {
    std::uint64_t word = 0;
    std::memcpy(&word, octets, sizeof word);
    if constexpr (std::endian::native == std::endian::big) {
        std::uint64_t turned = 0;
        for (unsigned i = 0; i < sizeof word; ++i) {
            turned |= (word >> (8 * i) & 0xffU) << (8 * (sizeof word - 1 - i));
        }
        word = turned;
    }
    return word;
}

// Two chains over the blocks of a text, with words of the key of their own. In each the two halves of a block
// have different places, so that exchanging them changes the hash.
struct Lane {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    void absorb(const char* block, std::uint64_t lowKey, std::uint64_t highKey) {
        const std::uint64_t first = wordAt(block);
        const std::uint64_t second = wordAt(block + sizeof first);
        low = foldedProduct(first ^ lowKey, second ^ low);
        high = foldedProduct(second ^ highKey, first ^ high);
    }
};

// Blocks go to two lanes in turn: a step waits for the one before it in its lane only, and so the processor
// works at both.
class Chains {
public:
    Chains(const Key& key, std::uint64_t firstLength, std::uint64_t secondLength, std::uint64_t number = 0)
        : key_(key),
          // The lengths tell the first text's end from the
          // second's begin, and a short one from one with zeros behind.
          even_{key.words[0] ^ firstLength, key.words[1] ^ secondLength},
          odd_{key.words[1] ^ number, key.words[0]} {}

    void absorb(std::string_view text) {
        if (text.size() < kBlockSize) {
            char block[kBlockSize] = {};
            if (!text.empty()) {
                std::memcpy(block, text.data(), text.size());
            }
            even_.absorb(block, key_.words[2], key_.words[3]);
            return;
        }
        // The last block reaches back into the one before it, which costs less than filling one up.
        const char* const last = text.data() + text.size() - kBlockSize;
        while (text.size() > 2 * kBlockSize) {
            even_.absorb(text.data(), key_.words[2], key_.words[3]);
            odd_.absorb(text.data() + kBlockSize, key_.words[3], key_.words[2]);
            text.remove_prefix(2 * kBlockSize);
        }
        if (text.size() > kBlockSize) {
            even_.absorb(text.data(), key_.words[2], key_.words[3]);
        }
        odd_.absorb(last, key_.words[3], key_.words[2]);
    }

    [[nodiscard]] KeyedHash finished() const {
        const std::uint64_t low = foldedProduct(even_.low ^ key_.words[3], odd_.low ^ key_.words[0]);
        const std::uint64_t high = foldedProduct(even_.high ^ key_.words[2], odd_.high ^ key_.words[1]);
        return {low, high};
    }

private:
    const Key& key_;
    Lane even_;
    Lane odd_;
};

}  // namespace

std::uint64_t foldedProductByHalves(std::uint64_t a, std::uint64_t b) {
    constexpr std::uint64_t kHalf = 0xFFFFFFFF;
    const std::uint64_t lowLow = (a & kHalf) * (b & kHalf);
    const std::uint64_t highLow = (a >> 32U) * (b & kHalf);
    const std::uint64_t lowHigh = (a & kHalf) * (b >> 32U);
    const std::uint64_t highHigh = (a >> 32U) * (b >> 32U);
    const std::uint64_t middle = (lowLow >> 32U) + (highLow & kHalf) + lowHigh;
    const std::uint64_t low = (middle << 32U) | (lowLow & kHalf);
    const std::uint64_t high = highHigh + (highLow >> 32U) + (middle >> 32U);
    return low ^ high;
}

#if defined(__SIZEOF_INT128__)

std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) {
    __extension__ using Wide = unsigned __int128;
    const Wide product = Wide{a} * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64U);
}

#else

std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) {
    return foldedProductByHalves(a, b);
}

#endif

KeyedHash keyedHashOf(std::string_view first, std::string_view second) {
    static const Key key = randomKey();
    Chains chains(key, first.size(), second.size());
    chains.absorb(first);
    chains.absorb(second);
    return chains.finished();
}

std::uint64_t lastingHashOf(std::string_view text, std::uint64_t first, std::uint64_t second) {
    Chains chains(kLastingKey, text.size(), second, first);
    chains.absorb(text);
    // In each half alone a length or number may make up for a change of the text that its lane is begun with.
    const KeyedHash hash = chains.finished();
    return hash.low ^ hash.high;
}

}  // namespace xel
