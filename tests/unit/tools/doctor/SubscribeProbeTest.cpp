#include <algorithm>

#include <gtest/gtest.h>

#include "tools/doctor/BrokerProbe.h"

namespace xel::tools {
namespace {

using Topics = std::vector<std::string>;

TEST(SubscribeProbe, FindsTheTopicThatEndsConnectionsByHalves) {
    for (std::size_t count = 1; count <= 20; ++count) {
        Topics topics;
        for (std::size_t i = 0; i < count; ++i) {
            topics.push_back("t" + std::to_string(i));
        }
        for (const std::string& culprit : topics) {
            int tries = 0;
            const auto ends = [&](std::span<const std::string> some) {
                ++tries;
                return std::find(some.begin(), some.end(), culprit) != some.end();
            };
            EXPECT_EQ(findEndingTopic(topics, ends), culprit);
            EXPECT_LE(tries, 6) << "of " << count;
        }
    }
}

TEST(SubscribeProbe, NamesNoTopicWhenNoneEndsAConnectionByItself) {
    const auto needsBoth = [](std::span<const std::string> some) { return some.size() > 1; };
    EXPECT_EQ(findEndingTopic(Topics{"a", "b"}, needsBoth), std::nullopt);
    EXPECT_EQ(findEndingTopic(Topics{}, needsBoth), std::nullopt);
}

}  // namespace
}  // namespace xel::tools
