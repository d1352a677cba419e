// A post that found no memory has not happened, and the loop goes on.

#include <cstddef>
#include <new>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/torture/Memory.h"

namespace xel::torture {
namespace {

TEST(RunLoopWithoutMemory, RunsWhatIsPostedLaterAndNotWhatWasRefused) {
    std::size_t allocation = 0;
    do {
        AsioRunLoop loop;
        bool isRefused = false;
        int refusedRuns = 0;
        int laterRuns = 0;
        memoryStrokes().begin(++allocation, Span::Once);
        try {
            const InClient posting;
            loop.post([&refusedRuns] { ++refusedRuns; });
        } catch (const std::bad_alloc&) {
            isRefused = true;
        }
        memoryStrokes().heal();
        loop.post([&laterRuns] { ++laterRuns; });
        loop.step();
        EXPECT_EQ(refusedRuns, isRefused ? 0 : 1) << "allocation " << allocation;
        EXPECT_EQ(laterRuns, 1) << "allocation " << allocation;
    } while (memoryStrokes().hasFallen());
    EXPECT_GT(allocation, 2U);
}

}  // namespace
}  // namespace xel::torture
