#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/BroadcastDetails.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

const NSError kBroadcastError = makeError("domain", 77, "what went wrong");

/// What a report of the client broadcasts, read by type.
class BroadcastDetailsTest : public RoomsTest {
protected:
    template <class Report>
    NSNotification broadcastOf(std::string_view name, Report report) {
        NSNotification heard("none");
        home_.notificationCenter->addObserver(
            name, nullptr, [&](const NSNotification& notification) { heard = notification; });
        report(rooms_->fanout);
        machine_.runUntilIdle();
        EXPECT_EQ(heard.name, name);
        return heard;
    }
};

TEST_F(BroadcastDetailsTest, HoldTheMessage) {
    PushClientMessage message;
    message.id = "m1";
    const auto broadcast = broadcastOf(PushClientDidReceivedMessageNotification, [&](EventFanout& fanout) {
        fanout.callbackNewMessageReceived(std::make_shared<const PushClientMessage>(message));
    });
    ASSERT_NE(messageOf(broadcast), nullptr);
    EXPECT_EQ(messageOf(broadcast)->id, "m1");
}

TEST_F(BroadcastDetailsTest, HoldReachabilityAndNetworkType) {
    const auto broadcast =
        broadcastOf(PushClientDidChangeServerReachabilityNotification, [](EventFanout& fanout) {
            fanout.callBackServerReachabilityChanged(true, PushClientServerReachabilityCelluarNetworkType);
        });
    EXPECT_EQ(reachableOf(broadcast), true);
    EXPECT_EQ(networkTypeOf(broadcast), PushClientServerReachabilityCelluarNetworkType);
}

TEST_F(BroadcastDetailsTest, HoldTheErrorOfAFailedRegistration) {
    const auto broadcast = broadcastOf(PushClientDidFailRegisterUserNotification, [](EventFanout& fanout) {
        fanout.callbackRegitrationFailure(false, "alice01", kBroadcastError);
    });
    ASSERT_NE(errorOf(broadcast), nullptr);
    EXPECT_EQ(*errorOf(broadcast), kBroadcastError);
}

TEST_F(BroadcastDetailsTest, HoldWhetherACodeWasSent) {
    for (const bool sent : {true, false}) {
        const auto broadcast =
            broadcastOf(PushClientDidSentVerificationCodeNotification,
                        [&](EventFanout& fanout) { fanout.callbackSentVerificationRequest(sent); });
        EXPECT_EQ(sentOf(broadcast), sent);
        EXPECT_EQ(errorOf(broadcast), nullptr);
    }
    const auto failure =
        broadcastOf(PushClientDidFailSentVerificationCodeNotification,
                    [](EventFanout& fanout) { fanout.callbackRequestVerificationFailure(kBroadcastError); });
    EXPECT_EQ(sentOf(failure), false);
    ASSERT_NE(errorOf(failure), nullptr);
    EXPECT_EQ(*errorOf(failure), kBroadcastError);
}

TEST_F(BroadcastDetailsTest, HoldWhetherACodeWasRight) {
    for (const bool verified : {true, false}) {
        const auto broadcast = broadcastOf(PushClientDidVerifyUserCodeNotification, [&](EventFanout& fanout) {
            fanout.callbackVerifyUserCode(verified);
        });
        EXPECT_EQ(verifiedOf(broadcast), verified);
    }
    const auto failure = broadcastOf(PushClientDidFailInVerifyUserCodeNotification, [](EventFanout& fanout) {
        fanout.callbackVerifyUserCodeFailure(kBroadcastError);
    });
    EXPECT_EQ(verifiedOf(failure), false);
    ASSERT_NE(errorOf(failure), nullptr);
    EXPECT_EQ(*errorOf(failure), kBroadcastError);
}

TEST_F(BroadcastDetailsTest, AreNoneWhereABroadcastHoldsNothing) {
    const auto broadcast = broadcastOf(PushClientDidRegisterUserNotification, [](EventFanout& fanout) {
        fanout.callbackRegitrationSuccess(true, "alice01");
    });
    EXPECT_EQ(messageOf(broadcast), nullptr);
    EXPECT_EQ(reachableOf(broadcast), std::nullopt);
    EXPECT_EQ(networkTypeOf(broadcast), std::nullopt);
    EXPECT_EQ(errorOf(broadcast), nullptr);
    EXPECT_EQ(sentOf(broadcast), std::nullopt);
    EXPECT_EQ(verifiedOf(broadcast), std::nullopt);
}

}  // namespace
}  // namespace xel
