#include <gtest/gtest.h>

#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/PlaceholderPorts.h"

namespace xel {
namespace {

TEST(PlaceholderPorts, FillEveryPortButTheTwoRoadsToTheService) {
    const auto loop = std::make_shared<FakeRunLoop>();
    const auto clock = std::make_shared<FakeClock>(loop);
    const Machine machine = makePlaceholderMachine(loop, clock);
    EXPECT_EQ(machine.sessions, nullptr);
    EXPECT_EQ(machine.http, nullptr);
    EXPECT_EQ(machine.runLoop, loop);
    EXPECT_EQ(machine.mainRunLoop, loop);
    EXPECT_EQ(machine.clock, clock);
    EXPECT_TRUE(machine.logSink && machine.operationQueues && machine.urlSession && machine.json &&
                machine.files && machine.strings && machine.threads && machine.reachability &&
                machine.application && machine.notificationCenter && machine.locationSource &&
                machine.device && machine.bundle);
}

TEST(PlaceholderPorts, AnswerOnTheGivenLoop) {
    const auto loop = std::make_shared<FakeRunLoop>();
    const Machine machine = makePlaceholderMachine(loop, std::make_shared<FakeClock>(loop));
    bool isAnswered = false;
    machine.notificationCenter->requestAuthorizationWithOptions(
        0, [&](bool, const auto&) { isAnswered = true; });
    EXPECT_FALSE(isAnswered);
    loop->runUntilIdle();
    EXPECT_TRUE(isAnswered);
}

}  // namespace
}  // namespace xel
