#include <gtest/gtest.h>

#include "XelPushClient/Platform/TopicTable.h"

namespace xel {
namespace {

TEST(TopicTable, KeepsTheOrderInWhichTopicsWereFirstSet) {
    TopicTable topics{{"z", 1}, {"a", 0}};
    topics.set("m", 1);
    topics.set("z", 0);
    EXPECT_EQ(topics, (TopicTable{{"z", 0}, {"a", 0}, {"m", 1}}));
    EXPECT_EQ(topics[0].first, "z");
    EXPECT_EQ(topics[2].first, "m");
    topics.remove("z");
    topics.set("z", 1);
    EXPECT_EQ(topics, (TopicTable{{"a", 0}, {"m", 1}, {"z", 1}}));
}

TEST(TopicTable, TellsWhatItHolds) {
    TopicTable topics;
    EXPECT_TRUE(topics.empty());
    topics.set("a", 1);
    EXPECT_TRUE(topics.contains("a"));
    EXPECT_FALSE(topics.contains("b"));
    EXPECT_EQ(topics.size(), 1U);
    topics.remove("b");
    EXPECT_EQ(topics.size(), 1U);
    topics.clear();
    EXPECT_TRUE(topics.empty());
}

TEST(TopicTable, IsEqualInTheSameOrderOnly) {
    EXPECT_FALSE((TopicTable{{"a", 1}, {"b", 1}}) == (TopicTable{{"b", 1}, {"a", 1}}));
    EXPECT_FALSE((TopicTable{{"a", 1}}) == (TopicTable{{"a", 0}}));
}

}  // namespace
}  // namespace xel
