#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/ConnectionDeadlines.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using Due = ConnectionDeadlines::Due;

constexpr ConnectionDeadlines::TimePoint kStart{1000s};

ConnectionDeadlines connectedDeadlines(ConnectionDeadlines::Duration keepAlive = 180s) {
    ConnectionDeadlines deadlines(kStart, {30s, keepAlive, 20s, 30s});
    deadlines.didConnect(kStart);
    return deadlines;
}

TEST(ConnectionDeadlines, WaitForTheConnectionFirst) {
    ConnectionDeadlines deadlines(kStart, {30s, 180s, 20s, 30s});
    EXPECT_EQ(deadlines.next(), kStart + 30s);
    EXPECT_EQ(deadlines.check(kStart + 29'999ms, false), Due::Nothing);
    EXPECT_EQ(deadlines.check(kStart + 30s, false), Due::ConnectTimedOut);
}

TEST(ConnectionDeadlines, AskForAPingOnceNothingWasWrittenForTheKeepAlive) {
    auto deadlines = connectedDeadlines();
    deadlines.didWrite(kStart + 100s);
    EXPECT_EQ(deadlines.next(), kStart + 280s);
    EXPECT_EQ(deadlines.check(kStart + 279s, false), Due::Nothing);
    EXPECT_EQ(deadlines.check(kStart + 280s, false), Due::PingRequest);
}

TEST(ConnectionDeadlines, AskForNoPingWithoutAKeepAlive) {
    auto deadlines = connectedDeadlines(0s);
    EXPECT_EQ(deadlines.next(), std::nullopt);
    EXPECT_EQ(deadlines.check(kStart + 1000h, false), Due::Nothing);
}

TEST(ConnectionDeadlines, GiveTheAnswerToAPingItsTimeWhateverIsWritten) {
    auto deadlines = connectedDeadlines();
    deadlines.didWritePingRequest(kStart + 180s);
    deadlines.didWrite(kStart + 199s);
    EXPECT_TRUE(deadlines.isAwaitingPingResponse());
    EXPECT_EQ(deadlines.check(kStart + 199s, false), Due::Nothing);
    EXPECT_EQ(deadlines.check(kStart + 200s, false), Due::PingTimedOut);
}

TEST(ConnectionDeadlines, StartAnewAfterTheAnswer) {
    auto deadlines = connectedDeadlines();
    deadlines.didWritePingRequest(kStart + 180s);
    deadlines.didReceivePingResponse();
    EXPECT_EQ(deadlines.check(kStart + 200s, false), Due::Nothing);
    EXPECT_EQ(deadlines.next(), kStart + 360s);
}

TEST(ConnectionDeadlines, MissNoAnswerThatMayWaitUnread) {
    auto deadlines = connectedDeadlines();
    deadlines.didWritePingRequest(kStart + 180s);
    EXPECT_EQ(deadlines.check(kStart + 200s, true), Due::Nothing);
    EXPECT_EQ(deadlines.next(), kStart + 201s);
    EXPECT_EQ(deadlines.check(kStart + 201s, true), Due::Nothing);
    EXPECT_EQ(deadlines.check(kStart + 202s, false), Due::PingTimedOut);
}

TEST(ConnectionDeadlines, LetALoopThatWasHeldUpLookOnce) {
    auto deadlines = connectedDeadlines();
    deadlines.didWritePingRequest(kStart + 180s);
    EXPECT_EQ(deadlines.check(kStart + 300s, false), Due::Nothing);
    EXPECT_EQ(deadlines.next(), kStart + 301s);
    EXPECT_EQ(deadlines.check(kStart + 400s, false), Due::PingTimedOut) << "once only";
}

TEST(ConnectionDeadlines, WaitForAPingNoLongerThanTheKeepAlive) {
    auto deadlines = connectedDeadlines(5s);
    deadlines.didWritePingRequest(kStart + 5s);
    EXPECT_EQ(deadlines.next(), kStart + 10s);
    EXPECT_EQ(deadlines.check(kStart + 10s, false), Due::PingTimedOut);
}

TEST(ConnectionDeadlines, AskForAPingWhenAnAnswerIsOwedAndNothingComes) {
    for (const auto keepAlive : {0s, 180s}) {
        auto deadlines = connectedDeadlines(keepAlive);
        deadlines.setSilentSince(kStart + 10s);
        EXPECT_EQ(deadlines.next(), kStart + 40s);
        EXPECT_EQ(deadlines.check(kStart + 39s, false), Due::Nothing);
        EXPECT_EQ(deadlines.check(kStart + 40s, false), Due::PingRequest);
        deadlines.didWritePingRequest(kStart + 40s);
        EXPECT_EQ(deadlines.check(kStart + 60s, false), Due::PingTimedOut);
    }
}

TEST(ConnectionDeadlines, AskForNoneWhenNoAnswerIsOwed) {
    auto deadlines = connectedDeadlines();
    deadlines.setSilentSince(kStart + 10s);
    deadlines.setSilentSince(std::nullopt);
    EXPECT_EQ(deadlines.next(), kStart + 180s);
}

}  // namespace
}  // namespace xel
