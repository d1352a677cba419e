#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/Broker/Reconnects.h"
#include "XelPushClient/Testing/FakeMachine.h"

namespace xel {
namespace {

using namespace std::chrono_literals;

/// The times alone, without a connection.
class ReconnectsTest : public testing::Test {
protected:
    ReconnectsTest() { life_.begin(client_); }

    FakeMachine machine_;
    Home home_ = machine_.makeHome();
    LogOutput log_{*home_.defaults, *machine_.logSink};
    std::shared_ptr<int> client_ = std::make_shared<int>();
    ClientLife life_;
    int attempts_ = 0;
    Reconnects reconnects_{{life_, *machine_.runLoop, *machine_.application, log_, [this] { ++attempts_; }}};
};

TEST_F(ReconnectsTest, TriesOnceThreeSecondsAfterAFailure) {
    EXPECT_EQ(reconnects_.reconnectTime(), 0.0);
    reconnects_.attemptBegins();
    reconnects_.connectionFailed();
    machine_.advanceBy(2999ms);
    EXPECT_EQ(attempts_, 0);
    machine_.advanceBy(1ms);
    EXPECT_EQ(attempts_, 1);
    EXPECT_FALSE(reconnects_.reconnectTimer());
    machine_.advanceBy(200s);
    EXPECT_EQ(attempts_, 1);
}

TEST_F(ReconnectsTest, DoublesTheTimeUntilAnAttemptBegins) {
    reconnects_.attemptBegins();
    std::vector<double> times;
    for (int i = 0; i < 7; ++i) {
        reconnects_.connectionFailed();
        machine_.advanceBy(96s);
        times.push_back(reconnects_.reconnectTime());
    }
    EXPECT_THAT(times, testing::ElementsAre(6, 12, 24, 48, 96, 96, 96));
    reconnects_.attemptBegins();
    EXPECT_EQ(reconnects_.reconnectTime(), 3.0);
}

TEST_F(ReconnectsTest, LeavesOutExactlyOne) {
    reconnects_.forceNextClose();
    reconnects_.connectionFailed();
    EXPECT_FALSE(reconnects_.reconnectTimer());
    reconnects_.connectionFailed();
    EXPECT_TRUE(reconnects_.reconnectTimer());
}

TEST_F(ReconnectsTest, CancelsWhatWasPlannedLast) {
    reconnects_.attemptBegins();
    reconnects_.connectionFailed();
    reconnects_.connectionFailed();
    reconnects_.cancel();
    machine_.advanceBy(10s);
    EXPECT_EQ(attempts_, 1) << "of the first, which was replaced without being cancelled";
}

TEST_F(ReconnectsTest, TriesNothingWhileTheApplicationIsNotActive) {
    reconnects_.attemptBegins();
    reconnects_.connectionFailed();
    machine_.application->setApplicationState(UIApplicationState::Background);
    machine_.advanceBy(3s);
    EXPECT_EQ(attempts_, 0);
    EXPECT_EQ(reconnects_.reconnectTime(), 3.0);
    EXPECT_TRUE(reconnects_.reconnectTimer()) << "the spent one stays";
}

TEST_F(ReconnectsTest, TriesNothingForAClientThatHasEnded) {
    reconnects_.attemptBegins();
    reconnects_.connectionFailed();
    life_.end();
    machine_.advanceBy(3s);
    EXPECT_EQ(attempts_, 0);
}

}  // namespace
}  // namespace xel
