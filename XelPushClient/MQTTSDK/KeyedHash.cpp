#include "XelPushClient/MQTTSDK/KeyedHash.h"

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

// Two chains over all octets, each with words of the key of its own. In each the two halves of a block have
// different places, so that exchanging them changes the hash.
class Chains {
public:
    Chains(const Key& key, std::uint64_t firstLength, std::uint64_t secondLength)
        : key_(key), low_(key.words[0] ^ firstLength), high_(key.words[1] ^ secondLength) {}

    void absorb(std::string_view text) {
        while (text.size() >= kBlockSize) {
            absorbBlock(text.data());
            text.remove_prefix(kBlockSize);
        }
        if (!text.empty()) {
            char block[kBlockSize] = {};
            std::memcpy(block, text.data(), text.size());
            absorbBlock(block);
        }
    }

    [[nodiscard]] PublicationHash finished() const {
        return {foldedProduct(low_ ^ key_.words[3], high_ ^ key_.words[0]),
                foldedProduct(high_ ^ key_.words[2], low_ ^ key_.words[1])};
    }

private:
    void absorbBlock(const char* block) {
        std::uint64_t first = 0;
        std::uint64_t second = 0;
        std::memcpy(&first, block, sizeof first);
        std::memcpy(&second, block + sizeof first, sizeof second);
        low_ = foldedProduct(first ^ key_.words[2], second ^ low_);
        high_ = foldedProduct(second ^ key_.words[3], first ^ high_);
    }

    const Key& key_;
    std::uint64_t low_;
    std::uint64_t high_;
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

PublicationHash hashPublication(std::string_view topic, std::string_view payload) {
    static const Key key;
    Chains chains(key, topic.size(), payload.size());
    chains.absorb(topic);
    chains.absorb(payload);
    return chains.finished();
}

}  // namespace xel
