// Everything that can fail in a short session fails in turn: nothing that was promised may be lost by it.

#include <gtest/gtest.h>

#include "tests/torture/Memory.h"
#include "tests/torture/Sweep.h"

namespace xel::torture {
namespace {

constexpr std::size_t kUsualRuns = 400;

Strokes& onMemory(TorturedSession& /*session*/) {
    return memoryStrokes();
}

Strokes& onPorts(TorturedSession& session) {
    return session.host().strokes;
}

TEST(Torture, LosesNothingWhenAnAllocationFails) {
    sweep("an allocation", onMemory, Span::Once, kUsualRuns);
}

TEST(Torture, LosesNothingWhenAllocationsFailFromOneOn) {
    sweep("all allocations from one on", onMemory, Span::ForGood, kUsualRuns);
}

TEST(Torture, LosesNothingWhenAnAnswerOfThePortsFails) {
    sweep("an answer of the ports", onPorts, Span::Once, kUsualRuns);
}

TEST(Torture, LosesNothingWhenAnswersOfThePortsFailFromOneOn) {
    sweep("all answers of the ports from one on", onPorts, Span::ForGood, kUsualRuns);
}

}  // namespace
}  // namespace xel::torture
