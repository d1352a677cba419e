#include <algorithm>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Platform/TopicTable.h"

namespace xel {
namespace {

using testing::ElementsAreArray;
using Entries = std::vector<TopicTable::Entry>;

std::string name(std::size_t number) {
    return "app/shop/user/public/channel-" + std::to_string(number);
}

TopicTable tableOf(std::size_t count) {
    TopicTable topics;
    for (std::size_t i = 0; i < count; ++i) {
        topics.set(name(i), kAtLeastOnce);
    }
    return topics;
}

Entries entriesOf(const TopicTable& topics) {
    return {topics.begin(), topics.end()};
}

/// What a table is to be, searched from the front to the end.
class Model {
public:
    void set(const std::string& topic, int qos) {
        if (const auto at = find(topic); at != entries.end()) {
            at->second = qos;
        } else {
            entries.emplace_back(topic, qos);
        }
    }
    void remove(const std::string& topic) {
        if (const auto at = find(topic); at != entries.end()) {
            entries.erase(at);
        }
    }
    [[nodiscard]] std::optional<int> qosOf(const std::string& topic) {
        const auto at = find(topic);
        return at == entries.end() ? std::nullopt : std::optional(at->second);
    }

    Entries entries;

private:
    Entries::iterator find(const std::string& topic) {
        return std::find_if(entries.begin(), entries.end(),
                            [&](const auto& entry) { return entry.first == topic; });
    }
};

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
    EXPECT_EQ(topics.qosOf("a"), 1);
    EXPECT_EQ(topics.qosOf("b"), std::nullopt);
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

TEST(TopicTable, IsEqualToOneThatNeverHadWhatWasRemoved) {
    TopicTable topics = tableOf(100);
    topics.set("gone", 1);
    topics.remove("gone");
    EXPECT_EQ(topics, tableOf(100));
    EXPECT_EQ(tableOf(100), topics);
}

TEST(TopicTable, IsEmptyWhenAllOfManyWereRemoved) {
    TopicTable topics = tableOf(100);
    for (std::size_t i = 0; i < 100; ++i) {
        topics.remove(name(i));
    }
    EXPECT_TRUE(topics.empty());
    EXPECT_EQ(topics.begin(), topics.end());
}

TEST(TopicTable, IsCopiedWithoutWhatWasRemoved) {
    TopicTable topics = tableOf(100);
    topics.remove(name(7));
    const TopicTable copy = topics;
    topics.set(name(7), kAtMostOnce);
    topics.remove(name(8));
    EXPECT_EQ(copy.size(), 99U);
    EXPECT_FALSE(copy.contains(name(7)));
    EXPECT_TRUE(copy.contains(name(8)));
    TopicTable assigned = tableOf(3);
    assigned = copy;
    EXPECT_EQ(assigned, copy);
    EXPECT_EQ(assigned.qosOf(name(99)), kAtLeastOnce);
}

TEST(TopicTable, IsEmptyAndUsableOnceItWasMovedFrom) {
    TopicTable topics = tableOf(100);
    topics.remove(name(7));
    const TopicTable moved = std::move(topics);
    EXPECT_EQ(moved.size(), 99U);
    topics.clear();
    topics.set("a", 1);
    EXPECT_EQ(topics, (TopicTable{{"a", 1}}));
}

// A small range of names, so that they are set again and removed often, and a large one, for a large table.
TEST(TopicTable, IsWhatASearchFromTheFrontWouldMakeOfIt) {
    for (const std::size_t names : {20U, 60U, 600U}) {
        std::mt19937 random(static_cast<unsigned>(names));
        const auto upTo = [&random](std::size_t most) {
            return std::uniform_int_distribution<std::size_t>(0, most)(random);
        };
        TopicTable topics;
        Model model;
        for (int step = 0; step < 4000; ++step) {
            const std::string topic = name(upTo(names));
            // Growing and shrinking by turns.
            const bool isGrowing = step / 1000 % 2 == 0;
            if (upTo(9) < (isGrowing ? 7U : 2U)) {
                const int qos = static_cast<int>(upTo(1));
                topics.set(topic, qos);
                model.set(topic, qos);
            } else {
                topics.remove(topic);
                model.remove(topic);
            }
            const std::string other = name(upTo(names));
            ASSERT_EQ(topics.qosOf(other), model.qosOf(other)) << step;
            ASSERT_EQ(topics.size(), model.entries.size()) << step;
            if (upTo(20) == 0) {
                ASSERT_THAT(entriesOf(topics), ElementsAreArray(model.entries)) << step;
            }
            if (upTo(200) == 0) {
                const TopicTable copy = topics;
                topics = copy;
            }
        }
        EXPECT_THAT(entriesOf(topics), ElementsAreArray(model.entries));
    }
}

}  // namespace
}  // namespace xel
