#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Loop/LoopBuffers.h"

namespace xel::contract {
namespace {

TEST(LoopBuffers, LendsTheSameBlockAgainAndTwoAtATimeAreTwo) {
    LoopBuffers buffers;
    const char* first = nullptr;
    {
        const LoopBuffers::Block block(buffers);
        first = block.octets().data();
        EXPECT_EQ(block.octets().size(), LoopBuffers::kBlockSize);
        const LoopBuffers::Block other(buffers);
        EXPECT_NE(other.octets().data(), first);
    }
    const LoopBuffers::Block again(buffers);
    EXPECT_EQ(again.octets().data(), first);
}

TEST(LoopBuffers, LendsTextsThatAreEmptyAndHaveTheRoomOfOnesBefore) {
    LoopBuffers buffers;
    buffers.giveText(std::string(5'000, 'x'));
    std::string text = buffers.takeText();
    EXPECT_EQ(text, "");
    EXPECT_GE(text.capacity(), 5'000U);
    EXPECT_LT(buffers.takeText().capacity(), 5'000U) << "there was one";
}

TEST(LoopBuffers, KeepsNoTextThatGrewLargeAndFewAltogether) {
    LoopBuffers buffers;
    buffers.giveText(std::string(1'000'000, 'x'));
    EXPECT_LT(buffers.takeText().capacity(), 1'000U);
    for (int i = 0; i < 100; ++i) {
        buffers.giveText(std::string(5'000, 'x'));
    }
    int kept = 0;
    while (buffers.takeText().capacity() >= 5'000U) {
        ++kept;
    }
    EXPECT_EQ(kept, 4);
}

}  // namespace
}  // namespace xel::contract
