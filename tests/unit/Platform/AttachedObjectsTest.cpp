#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/AttachedObjects.h"

namespace xel {
namespace {

std::vector<int> stillThere(const AttachedObjects<int>& attached) {
    std::vector<int> values;
    for (const auto& each : attached.list()) {
        if (const auto value = each.lock()) {
            values.push_back(*value);
        }
    }
    return values;
}

TEST(AttachedObjectsTest, ListsThemInTheOrderInWhichTheyWereAttachedLast) {
    AttachedObjects<int> attached;
    EXPECT_FALSE(attached.hasAny());
    const auto one = std::make_shared<int>(1);
    const auto two = std::make_shared<int>(2);
    attached.attach(one);
    attached.attach(two);
    attached.attach(one);
    EXPECT_EQ(stillThere(attached), (std::vector{2, 1}));
}

TEST(AttachedObjectsTest, LosesThoseThatGo) {
    AttachedObjects<int> attached;
    const auto kept = std::make_shared<int>(1);
    auto dropped = std::make_shared<int>(2);
    attached.attach(dropped);
    attached.attach(kept);
    dropped.reset();
    EXPECT_EQ(stillThere(attached), std::vector{1});
    EXPECT_TRUE(attached.hasAny());
}

TEST(AttachedObjectsTest, KeepsNothingOfThoseThatWentLongAgo) {
    AttachedObjects<int> attached;
    const auto kept = std::make_shared<int>(0);
    attached.attach(kept);
    for (int i = 1; i <= 1000; ++i) {
        attached.attach(std::make_shared<int>(i));
    }
    EXPECT_EQ(stillThere(attached), std::vector{0});
    EXPECT_LE(attached.list().size(), 32U);
}

}  // namespace
}  // namespace xel
