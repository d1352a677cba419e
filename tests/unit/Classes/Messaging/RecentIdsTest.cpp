#include <algorithm>
#include <deque>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Classes/Messaging/RecentIds.h"

namespace xel {
namespace {

std::deque<std::string> allOf(const RecentIds& ids) {
    std::deque<std::string> all;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        all.push_back(ids.at(i));
    }
    return all;
}

TEST(RecentIds, HoldNothingAtFirst) {
    const RecentIds ids;
    EXPECT_EQ(ids.size(), 0U);
    EXPECT_FALSE(ids.contains(""));
    EXPECT_FALSE(ids.contains("m1"));
}

TEST(RecentIds, HoldAnEmptyIdAsAnyOther) {
    RecentIds ids;
    ids.append("");
    EXPECT_TRUE(ids.contains(""));
    ids.removeNewest();
    EXPECT_FALSE(ids.contains(""));
}

TEST(RecentIds, AppendInPlaceOfTheOldestOfTwentyFive) {
    RecentIds ids;
    for (int i = 1; i <= 26; ++i) {
        ids.append("m" + std::to_string(i));
    }
    EXPECT_EQ(ids.size(), RecentIds::kMost);
    EXPECT_EQ(ids.at(0), "m2");
    EXPECT_EQ(ids.at(24), "m26");
    EXPECT_FALSE(ids.contains("m1"));
    EXPECT_TRUE(ids.contains("m2"));
}

TEST(RecentIds, DoNotContainWhatWasTakenOutAtEitherEnd) {
    RecentIds ids;
    for (const auto* id : {"m1", "m2", "m3"}) {
        ids.append(id);
    }
    ids.removeOldest();
    ids.removeNewest();
    EXPECT_EQ(allOf(ids), std::deque<std::string>{"m2"});
    EXPECT_FALSE(ids.contains("m1"));
    EXPECT_FALSE(ids.contains("m3"));
}

// Against the plain thing, over what a long life does to them, with few ids, so that they come again.
TEST(RecentIds, AreAListOfTwentyFive) {
    std::mt19937 random(1);
    RecentIds ids;
    std::deque<std::string> plain;
    for (int step = 0; step < 20'000; ++step) {
        const std::string id = "m" + std::to_string(random() % 40);
        const bool isThere = std::find(plain.begin(), plain.end(), id) != plain.end();
        ASSERT_EQ(ids.contains(id), isThere) << "step " << step;
        const auto choice = random() % 10;
        if (choice == 0 && !plain.empty()) {
            ids.removeNewest();
            plain.pop_back();
        } else if (choice == 1 && !plain.empty()) {
            ids.removeOldest();
            plain.pop_front();
        } else {
            ids.append(id);
            plain.push_back(id);
            if (plain.size() > RecentIds::kMost) {
                plain.pop_front();
            }
        }
        ASSERT_EQ(allOf(ids), plain) << "step " << step;
    }
}

}  // namespace
}  // namespace xel
