#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/KeyedHash.h"

namespace xel {
namespace {

TEST(KeyedHash, TellsPairsOfTextsApart) {
    EXPECT_EQ(keyedHashOf("topic", "payload"), keyedHashOf("topic", "payload"));
    const auto hash = keyedHashOf("ab", "c");
    EXPECT_NE(hash, keyedHashOf("a", "bc"));
    EXPECT_NE(hash, keyedHashOf("ab", std::string("c\0", 2)));
    EXPECT_NE(hash, keyedHashOf("c", "ab"));
    EXPECT_NE(keyedHashOf("", ""), keyedHashOf("", std::string(1, '\0')));
    for (std::size_t size = 1; size <= 100; ++size) {
        const std::string text(size, 'x');
        const auto ofText = keyedHashOf("t", text);
        EXPECT_NE(ofText, keyedHashOf("t", text + "x"));
        for (std::size_t i = 0; i < size; ++i) {
            std::string changed = text;
            changed[i] = 'y';
            const auto ofChanged = keyedHashOf("t", changed);
            EXPECT_NE(ofText.low, ofChanged.low) << size << " " << i;
            EXPECT_NE(ofText.high, ofChanged.high) << size << " " << i;
        }
    }
    EXPECT_NE(keyedHashOf("t", "0123456789abcdef"), keyedHashOf("t", "89abcdef01234567"));
}

// Lengths and numbers enter where the first octets of the text do: none may make up for a change of these.
TEST(KeyedHash, TellsTextsOnDiskApartWhateverTheirNumbers) {
    std::vector<std::string> texts;
    for (char octet = 0; octet < 32; ++octet) {
        texts.push_back(std::string(8, 'x') + octet);
        texts.push_back(octet + std::string(8, 'x'));
    }
    texts.emplace_back(8, 'x');
    std::set<std::uint64_t> hashes;
    for (const std::string& text : texts) {
        for (std::uint64_t number = 0; number < 32; ++number) {
            hashes.insert(lastingHashOf(text, number, 100));
            hashes.insert(lastingHashOf(text, 100, number));
        }
    }
    EXPECT_EQ(hashes.size(), texts.size() * 64);
}

TEST(KeyedHash, MultipliesAlikeOnEveryProcessor) {
    const std::uint64_t factors[] = {
        0, 1, 0xFFFFFFFF, 0x100000000, 0xFFFFFFFFFFFFFFFF, 0x123456789ABCDEF0, 0xDEADBEEFCAFEBABE};
    for (const std::uint64_t a : factors) {
        for (const std::uint64_t b : factors) {
            EXPECT_EQ(foldedProduct(a, b), foldedProductByHalves(a, b)) << a << " * " << b;
        }
    }
    EXPECT_EQ(foldedProductByHalves(0xFFFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF), 0xFFFFFFFFFFFFFFFF);
}

}  // namespace
}  // namespace xel
