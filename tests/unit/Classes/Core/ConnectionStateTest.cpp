#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/ConnectionState.h"

namespace xel {
namespace {

TEST(ConnectionState, ShowsEveryStateByItsName) {
    EXPECT_EQ(connectionStateString(PushClientServerConnectingStartState), "Init");
    EXPECT_EQ(connectionStateString(PushClientServerConnectingState), "Connecting");
    EXPECT_EQ(connectionStateString(PushClientServerConnectedState), "Connected");
    EXPECT_EQ(connectionStateString(PushClientServerDisconnectedState), "Disconnected");
    EXPECT_EQ(connectionStateString(PushClientServerDisconnectedErrorState), "Error");
}

TEST(ConnectionState, ShowsEveryOtherValueAsUnknown) {
    for (const int value : {-100, -3, 3, 100}) {
        EXPECT_EQ(connectionStateString(static_cast<PushClientServerConnectionState>(value)), "Unknown");
    }
}

TEST(ConnectionState, KeepsTheValuesThatHostsKnow) {
    EXPECT_EQ(static_cast<int>(PushClientServerConnectingStartState), -2);
    EXPECT_EQ(static_cast<int>(PushClientServerConnectingState), -1);
    EXPECT_EQ(static_cast<int>(PushClientServerConnectedState), 0);
    EXPECT_EQ(static_cast<int>(PushClientServerDisconnectedState), 1);
    EXPECT_EQ(static_cast<int>(PushClientServerDisconnectedErrorState), 2);
}

}  // namespace
}  // namespace xel
