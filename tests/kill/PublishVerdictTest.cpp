#include <gtest/gtest.h>

#include "tests/kill/PublishVerdict.h"
#include "tests/kill/ReceivedLog.h"

namespace xel::killtest {
namespace {

const std::string kStartOfLife(kStartLine);

TEST(PublishVerdict, IsGoodWhenEveryPromiseArrived) {
    const auto verdict = judgePublishing({kStartOfLife, "a", kStartOfLife, "b"}, {{"a", 1}, {"b", 1}});
    EXPECT_TRUE(verdict.isGood());
    EXPECT_EQ(verdict.promised, 2U);
    EXPECT_EQ(verdict.arrived, 2U);
    EXPECT_EQ(verdict.lives, 2U);
    EXPECT_EQ(verdict.arrivedAgain, 0U);
}

TEST(PublishVerdict, NamesAPromiseThatNeverArrived) {
    const auto verdict = judgePublishing({kStartOfLife, "a", "b"}, {{"a", 1}});
    EXPECT_FALSE(verdict.isGood());
    EXPECT_EQ(verdict.lost, std::vector<std::string>{"b"});
}

TEST(PublishVerdict, AllowsArrivalsThatWereNotNotedAndRepetitions) {
    const auto verdict = judgePublishing({kStartOfLife, "a"}, {{"a", 3}, {"b", 1}});
    EXPECT_TRUE(verdict.isGood());
    EXPECT_EQ(verdict.arrived, 2U);
    EXPECT_EQ(verdict.arrivedAgain, 2U);
}

}  // namespace
}  // namespace xel::killtest
