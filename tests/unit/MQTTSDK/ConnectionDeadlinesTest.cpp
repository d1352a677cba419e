#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/ConnectionDeadlines.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using Due = ConnectionDeadlines::Due;

constexpr ConnectionDeadlines::TimePoint kBegin{1000s};

ConnectionDeadlines connectedDeadlines(ConnectionDeadlines::Duration keepAlive = 180s) {
    ConnectionDeadlines deadlines(kBegin, {30s, keepAlive, 20s, 30s});
    deadlines.didConnect(kBegin);
    return deadlines;
}

TEST(ConnectionDeadlines, WaitForTheConnectionFirst) {
    ConnectionDeadlines deadlines(kBegin, {30s, 180s, 20s, 30s});
    EXPECT_EQ(deadlines.next(), kBegin + 30s);
    EXPECT_EQ(deadlines.check(kBegin + 29'999ms, false), Due::Nothing);
    EXPECT_EQ(deadlines.check(kBegin + 30s, false), Due::ConnectTimedOut);
}

TEST(ConnectionDeadlines, AskForAPingOnceNothingWasWrittenForTheKeepAlive) {
    auto deadlines = connectedDeadlines();
    deadlines.didWrite(kBegin + 100s);
    EXPECT_EQ(deadlines.next(), kBegin + 280s);
    EXPECT_EQ(deadlines.check(kBegin + 279s, false), Due::Nothing);
    EXPECT_EQ(deadlines.check(kBegin + 280s, false), Due::PingRequest);
}

TEST(ConnectionDeadlines, AskForNoPingWithoutAKeepAlive) {
    auto deadlines = connectedDeadlines(0s);
    EXPECT_EQ(deadlines.next(), std::nullopt);
    EXPECT_EQ(deadlines.check(kBegin + 1000h, false), Due::Nothing);
}

TEST(ConnectionDeadlines, GiveTheAnswerToAPingItsTimeWhateverIsWritten) {
    auto deadlines = connectedDeadlines();
    deadlines.didWritePingRequest(kBegin + 180s);
    deadlines.didWrite(kBegin + 199s);
    EXPECT_TRUE(deadlines.isAwaitingPingResponse());
    EXPECT_EQ(deadlines.check(kBegin + 199s, false), Due::Nothing);
    EXPECT_EQ(deadlines.check(kBegin + 200s, false), Due::PingTimedOut);
}

TEST(ConnectionDeadlines, StartAnewAfterTheAnswer) {
    auto deadlines = connectedDeadlines();
    deadlines.didWritePingRequest(kBegin + 180s);
    deadlines.didReceivePingResponse();
    EXPECT_EQ(deadlines.check(kBegin + 200s, false), Due::Nothing);
    EXPECT_EQ(deadlines.next(), kBegin + 360s);
}

TEST(ConnectionDeadlines, MissNoAnswerThatMayWaitUnread) {
    auto deadlines = connectedDeadlines();
    deadlines.didWritePingRequest(kBegin + 180s);
    EXPECT_EQ(deadlines.check(kBegin + 200s, true), Due::Nothing);
    EXPECT_EQ(deadlines.next(), kBegin + 201s);
    EXPECT_EQ(deadlines.check(kBegin + 201s, true), Due::Nothing);
    EXPECT_EQ(deadlines.check(kBegin + 202s, false), Due::PingTimedOut);
}

TEST(ConnectionDeadlines, LetALoopThatWasHeldUpLookOnce) {
    auto deadlines = connectedDeadlines();
    deadlines.didWritePingRequest(kBegin + 180s);
    EXPECT_EQ(deadlines.check(kBegin + 300s, false), Due::Nothing);
    EXPECT_EQ(deadlines.next(), kBegin + 301s);
    EXPECT_EQ(deadlines.check(kBegin + 400s, false), Due::PingTimedOut) << "once only";
}

TEST(ConnectionDeadlines, WaitForAPingNoLongerThanTheKeepAlive) {
    auto deadlines = connectedDeadlines(5s);
    deadlines.didWritePingRequest(kBegin + 5s);
    EXPECT_EQ(deadlines.next(), kBegin + 10s);
    EXPECT_EQ(deadlines.check(kBegin + 10s, false), Due::PingTimedOut);
}

TEST(ConnectionDeadlines, AskForAPingWhenAnAnswerIsOwedAndNothingComes) {
    for (const auto keepAlive : {0s, 180s}) {
        auto deadlines = connectedDeadlines(keepAlive);
        deadlines.setSilentSince(kBegin + 10s);
        EXPECT_EQ(deadlines.next(), kBegin + 40s);
        EXPECT_EQ(deadlines.check(kBegin + 39s, false), Due::Nothing);
        EXPECT_EQ(deadlines.check(kBegin + 40s, false), Due::PingRequest);
        deadlines.didWritePingRequest(kBegin + 40s);
        EXPECT_EQ(deadlines.check(kBegin + 60s, false), Due::PingTimedOut);
    }
}

TEST(ConnectionDeadlines, AskForNoneWhenNoAnswerIsOwed) {
    auto deadlines = connectedDeadlines();
    deadlines.setSilentSince(kBegin + 10s);
    deadlines.setSilentSince(std::nullopt);
    EXPECT_EQ(deadlines.next(), kBegin + 180s);
}

}  // namespace
}  // namespace xel
