#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {
namespace {

using testing::ElementsAre;

/// What the exception says that the work lets out.
std::string messageOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing";
}

TEST(OnLeavingTest, ActsOnEveryWayOutOfTheScopeAndNotBefore) {
    std::vector<std::string> steps;
    const auto leave = [&](const std::string& way) {
        const OnLeaving note([&] { steps.push_back("left by " + way); });
        steps.push_back("inside");
        if (way == "return") {
            return;
        }
        if (way == "exception") {
            throw std::runtime_error("a callback failed");
        }
        steps.emplace_back("last line");
    };
    leave("return");
    leave("the end");
    EXPECT_EQ(messageOf([&] { leave("exception"); }), "a callback failed");
    EXPECT_THAT(steps, ElementsAre("inside", "left by return", "inside", "last line", "left by the end",
                                   "inside", "left by exception"));
}

TEST(OnLeavingTest, HoldsAFlagUpUntilTheScopeIsLeft) {
    bool flag = false;
    {
        const auto raised = flagWhile(flag);
        EXPECT_TRUE(flag);
    }
    EXPECT_FALSE(flag);
    EXPECT_EQ(messageOf([&] {
                  const auto raised = flagWhile(flag);
                  throw std::runtime_error("thrown below it");
              }),
              "thrown below it");
    EXPECT_FALSE(flag);
}

TEST(OnLeavingTest, DoesTheRestAlwaysAndLetsTheExceptionTravelOnBehindIt) {
    struct Case {
        bool workThrows;
        bool restThrows;
        std::string travelling;
    };
    const std::vector<Case> kCases = {{false, false, "nothing"},
                                      {true, false, "of the work"},
                                      {false, true, "of the rest"},
                                      {true, true, "of the rest"}};
    for (const auto& test : kCases) {
        std::vector<std::string> steps;
        const auto travelling = messageOf([&] {
            doThenAlways(
                [&] {
                    steps.emplace_back("work");
                    if (test.workThrows) {
                        throw std::runtime_error("of the work");
                    }
                },
                [&] {
                    steps.emplace_back("rest");
                    if (test.restThrows) {
                        throw std::runtime_error("of the rest");
                    }
                });
        });
        EXPECT_EQ(travelling, test.travelling);
        EXPECT_THAT(steps, ElementsAre("work", "rest")) << "the rest once, after the work";
    }
}

TEST(OnLeavingTest, TellsTheRestWhetherTheWorkHasComeToItsEnd) {
    std::vector<bool> outcomes;
    const auto note = [&](bool isWorkDone) { outcomes.push_back(isWorkDone); };
    doThenAlways([] {}, note);
    EXPECT_EQ(messageOf([&] { doThenAlways([] { throw std::runtime_error("of the work"); }, note); }),
              "of the work");
    EXPECT_THAT(outcomes, ElementsAre(true, false));
}

}  // namespace
}  // namespace xel
