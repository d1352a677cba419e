#include "XelPushClient/Foundation/KeyedHash.h"

#include <array>
#include <cstring>
#include <random>

namespace xel {
namespace {

constexpr std::size_t kBlockSize = 16;

struct Key {
    std::array<std::uint64_t, 4> words{};

    Key() {
        std::random_device source;
        for (std::uint64_t& word : words) {
            // Odd, so that none is 0: a factor of 0 would swallow the other one.
            word = (std::uint64_t{source()} << 32U | source()) | 1U;
        }
    }
};

// Two chains over the blocks of a text, with words of the key of their own. In each the two halves of a block
// have different places, so that exchanging them changes the hash.
struct Lane {
    std::uint64_t low = 0;
    std::uint64_t high = 0;

    void absorb(const char* block, std::uint64_t lowKey, std::uint64_t highKey) {
        std::uint64_t first = 0;
        std::uint64_t second = 0;
        std::memcpy(&first, block, sizeof first);
        std::memcpy(&second, block + sizeof first, sizeof second);
        low = foldedProduct(first ^ lowKey, second ^ low);
        high = foldedProduct(second ^ highKey, first ^ high);
    }
};

// Blocks go to two lanes in turn: a step waits for the one before it in its lane only, and so the processor
// works at both.
class Chains {
public:
    Chains(const Key& key, std::uint64_t firstLength, std::uint64_t secondLength)
        : key_(key),
          // The lengths tell the first text's end from the
          // second's begin, and a short one from one with zeros behind.
          even_{key.words[0] ^ firstLength, key.words[1] ^ secondLength},
          odd_{key.words[1], key.words[0]} {}

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
    static const Key key;
    Chains chains(key, first.size(), second.size());
    chains.absorb(first);
    chains.absorb(second);
    return chains.finished();
}

}  // namespace xel
