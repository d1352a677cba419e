#include <optional>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Network/NetlinkReachability.h"
#include "XelPushClient/Linux/Network/NetworkState.h"

namespace xel {
namespace {

TEST(NetworkType, IsCellularForMobileBroadbandAndWifiForTheRest) {
    for (const char* name : {"wwan0", "wwan1", "wwp0s20u4", "wwx001e101f0000"}) {
        EXPECT_EQ(networkTypeOfInterface(name), PushClientServerReachabilityCelluarNetworkType) << name;
    }
    for (const char* name : {"wlan0", "wlp3s0", "eth0", "enp0s25", "lo", "tun0", "ppp0", "w", ""}) {
        EXPECT_EQ(networkTypeOfInterface(name), PushClientServerReachabilityWifiNetworkType) << name;
    }
}

const DefaultRoute kMobile{"wwan0", PushClientServerReachabilityCelluarNetworkType};
const DefaultRoute kWired{"eth0", PushClientServerReachabilityWifiNetworkType};

TEST(NetworkType, IsTheDefaultRoutesTowardsAnotherMachine) {
    EXPECT_EQ(networkTypeTowards("push.example", kMobile), PushClientServerReachabilityCelluarNetworkType);
    EXPECT_EQ(networkTypeTowards("push.example", kWired), PushClientServerReachabilityWifiNetworkType);
    EXPECT_EQ(networkTypeTowards("push.example", std::nullopt),
              PushClientServerReachabilityNoNetworkFoundType);
}

TEST(NetworkType, IsWifiTowardsThisMachineWhateverTheRoutes) {
    for (const auto& route : {std::optional<DefaultRoute>(), std::optional(kMobile), std::optional(kWired)}) {
        EXPECT_EQ(networkTypeTowards("localhost", route), PushClientServerReachabilityWifiNetworkType);
        EXPECT_EQ(networkTypeTowards("127.0.0.1", route), PushClientServerReachabilityWifiNetworkType);
    }
}

}  // namespace
}  // namespace xel
