#include <gtest/gtest.h>

#include "tests/kill/KillVerdict.h"
#include "tests/kill/ReceivedLog.h"

namespace xel::killtest {
namespace {

const std::string kStart(kStartLine);

TEST(KillVerdict, IsGoodWhenEveryMessageWasNotedOnce) {
    const auto verdict = judge({"a", "b"}, {kStart, "a", kStart, "b"}, 24);
    EXPECT_TRUE(verdict.isGood());
    EXPECT_EQ(verdict.received, 2U);
    EXPECT_EQ(verdict.lives, 2U);
    EXPECT_EQ(verdict.seenTwice, 0U);
}

TEST(KillVerdict, NamesAMessageThatWasNeverNoted) {
    const auto verdict = judge({"a", "b"}, {kStart, "a"}, 24);
    EXPECT_FALSE(verdict.isGood());
    EXPECT_EQ(verdict.lost, std::vector<std::string>{"b"});
}

TEST(KillVerdict, AllowsARepetitionOfTheTurnInWhichALifeEnded) {
    const auto verdict = judge({"a", "b", "c"}, {kStart, "a", "b", "c", kStart, "b", "c"}, 2);
    EXPECT_TRUE(verdict.isGood());
    EXPECT_EQ(verdict.seenTwice, 2U);
}

TEST(KillVerdict, RefusesARepetitionOfAnEarlierTurn) {
    const auto verdict = judge({"a", "b", "c"}, {kStart, "a", "b", "c", kStart, "a"}, 2);
    EXPECT_EQ(verdict.repeatedWithoutCause, std::vector<std::string>{"a"});
}

TEST(KillVerdict, RefusesARepetitionWithinOneLife) {
    EXPECT_FALSE(judge({"a"}, {kStart, "a", "b", "c", "a"}, 2).isGood());
}

}  // namespace
}  // namespace xel::killtest
