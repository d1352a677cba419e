#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/UUID.h"

namespace xel {
namespace {

TEST(UUID, HasTheTextFormOfVersionFour) {
    bool hasSeenEveryVariantDigit[4] = {};
    for (int i = 0; i < 1000; ++i) {
        const std::string text = makeUUID();
        ASSERT_EQ(text.size(), 36U);
        for (std::size_t at = 0; at < text.size(); ++at) {
            const bool isHyphen = at == 8 || at == 13 || at == 18 || at == 23;
            const bool isDigit = (text[at] >= '0' && text[at] <= '9') || (text[at] >= 'a' && text[at] <= 'f');
            ASSERT_TRUE(isHyphen ? text[at] == '-' : isDigit) << text;
        }
        ASSERT_EQ(text[14], '4') << text;
        const auto variant = std::string("89ab").find(text[19]);
        ASSERT_NE(variant, std::string::npos) << text;
        hasSeenEveryVariantDigit[variant] = true;
    }
    EXPECT_TRUE(std::all_of(std::begin(hasSeenEveryVariantDigit), std::end(hasSeenEveryVariantDigit),
                            [](bool seen) { return seen; }));
}

TEST(UUID, IsAnotherOneEachTime) {
    std::set<std::string> seen;
    for (int i = 0; i < 10000; ++i) {
        EXPECT_TRUE(seen.insert(makeUUID()).second);
    }
}

/// Every digit that is not fixed takes many values: none of the octets is left out of the drawing.
TEST(UUID, IsRandomInEveryPlace) {
    std::set<char> digitsAt[36];
    for (int i = 0; i < 1000; ++i) {
        const std::string text = makeUUID();
        for (std::size_t at = 0; at < text.size(); ++at) {
            digitsAt[at].insert(text[at]);
        }
    }
    for (std::size_t at = 0; at < 36; ++at) {
        const bool isFixed = at == 8 || at == 13 || at == 14 || at == 18 || at == 23;
        const std::size_t wanted = isFixed ? 1U : at == 19 ? 4U : 16U;
        EXPECT_EQ(digitsAt[at].size(), wanted) << at;
    }
}

}  // namespace
}  // namespace xel
