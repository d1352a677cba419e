#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/HandlerSlots.h"

namespace xel {
namespace {

TEST(HandlerSlot, CallsItsBlockWhenOneIsSet) {
    HandlerSlot<std::function<void(int)>> slot;
    int sum = 0;
    slot.callIfSet(1);
    EXPECT_FALSE(slot);
    slot = [&](int number) { sum += number; };
    EXPECT_TRUE(slot);
    slot.callIfSet(10);
    slot = nullptr;
    EXPECT_FALSE(slot);
    slot.callIfSet(100);
    EXPECT_EQ(sum, 10);
}

TEST(HandlerSlot, LetsABlockReplaceItselfWhileItRuns) {
    HandlerSlot<std::function<void()>> slot;
    std::string calls;
    const std::string captured(100, 'x');
    slot = [&slot, &calls, captured] {
        slot = [&calls] { calls += "second"; };
        calls += captured == std::string(100, 'x') ? "first " : "destroyed ";
    };
    slot.callIfSet();
    slot.callIfSet();
    EXPECT_EQ(calls, "first second");
}

}  // namespace
}  // namespace xel
