// What happens to a machine's network while the client looks on.

#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/contract/Network/NetworkNamespace.h"

namespace xel::contract {
namespace {

constexpr auto kNone = PushClientServerReachabilityNoNetworkFoundType;
constexpr auto kCellular = PushClientServerReachabilityCelluarNetworkType;
constexpr auto kWifi = PushClientServerReachabilityWifiNetworkType;

/// Links that come up have no IPv6 then, whose addresses and routes bring events of their own.
void switchIPv6Off() {
    for (const char* links : {"all", "default"}) {
        std::ofstream("/proc/sys/net/ipv6/conf/" + std::string(links) + "/disable_ipv6") << 1;
    }
}

/// A started notifier. What it says is that of its last event: nothing is read behind its back.
class Onlooker {
public:
    Onlooker() : reachability_(network_.factory_.reachabilityForInternetConnection()) {
        reachability_->setReachabilityBlock([this](PushClientServerReachability&) { ++reports_; });
        EXPECT_TRUE(reachability_->startNotifier());
    }

    /// Whether it comes to say so, being told by events.
    [[nodiscard]] bool sees(PushClientServerReachabilityNetworkType wanted) {
        while (reachability_->currentReachabilityStatus() != wanted) {
            if (!network_.runUntilReport(reports_)) {
                return false;
            }
        }
        return reachability_->isReachable() == (wanted != kNone);
    }
    /// Takes what comes for a while; the number of reports.
    int reportsOfAWhile() {
        const int before = reports_;
        while (network_.runUntilReport(reports_, std::chrono::milliseconds(200))) {}
        return reports_ - before;
    }
    [[nodiscard]] PushClientServerReachabilityNetworkType status() const {
        return reachability_->currentReachabilityStatus();
    }

private:
    LiveNetwork network_{"push.example"};
    int reports_ = 0;
    std::shared_ptr<PushClientServerReachability> reachability_;
};

TEST(NetworkChanges, ALinkGoesDownAndComesUp) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        switchIPv6Off();
        plugIn("eth7", "10.1.2", 10);
        Onlooker onlooker;
        EXPECT_TRUE(onlooker.sees(kWifi)) << "wired counts as Wi-Fi";
        ip("link set eth7 down");
        EXPECT_TRUE(onlooker.sees(kNone)) << "the kernel drops the route without a word";
        ip("link set eth7 up");
        ip("route add default via 10.1.2.2 dev eth7");
        EXPECT_TRUE(onlooker.sees(kWifi));
    });
}

TEST(NetworkChanges, ACableIsPulledAndPluggedInAgain) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        switchIPv6Off();
        plugIn("eth7", "10.1.2", 10);
        Onlooker onlooker;
        ip("link set peer-eth7 down");
        EXPECT_TRUE(onlooker.sees(kNone)) << "the route stays, its link is dead";
        ip("link set peer-eth7 up");
        EXPECT_TRUE(onlooker.sees(kWifi)) << "no route was added for it";
    });
}

TEST(NetworkChanges, TheLastAddressIsLost) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        switchIPv6Off();
        plugIn("eth7", "10.1.2", 10);
        Onlooker onlooker;
        EXPECT_TRUE(onlooker.sees(kWifi));
        ip("addr del 10.1.2.1/24 dev eth7");
        EXPECT_TRUE(onlooker.sees(kNone)) << "its routes go with it";
    });
}

TEST(NetworkChanges, TheDefaultRouteMovesFromOneInterfaceToAnother) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        plugIn("wwan0", "10.1.1", 50);
        plugIn("eth7", "10.1.2", 60);
        ip("route del default metric 60");
        Onlooker onlooker;
        EXPECT_TRUE(onlooker.sees(kCellular));
        ip("route replace default via 10.1.2.2 dev eth7 metric 50");
        EXPECT_TRUE(onlooker.sees(kWifi));
        ip("route replace default via 10.1.1.2 dev wwan0 metric 50");
        EXPECT_TRUE(onlooker.sees(kCellular));
    });
}

TEST(NetworkChanges, ABetterRouteComesAndGoes) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        plugIn("wwan0", "10.1.1", 50);
        plugIn("eth7", "10.1.2", 60);
        Onlooker onlooker;
        EXPECT_TRUE(onlooker.sees(kCellular));
        ip("route add default via 10.1.2.2 dev eth7 metric 10");
        EXPECT_TRUE(onlooker.sees(kWifi));
        ip("route del default via 10.1.2.2 dev eth7 metric 10");
        EXPECT_TRUE(onlooker.sees(kCellular));
    });
}

TEST(NetworkChanges, AModemIsCellularByItsName) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        plugIn("usb0", "10.1.1", 50);
        Onlooker onlooker;
        EXPECT_TRUE(onlooker.sees(kWifi));
        ip("link set usb0 down");
        ip("link set usb0 name wwp0s20u4");
        ip("link set wwp0s20u4 up");
        ip("route add default via 10.1.1.2 dev wwp0s20u4");
        EXPECT_TRUE(onlooker.sees(kCellular));
    });
}

TEST(NetworkChanges, TheLoopbackAloneIsNoNetwork) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        Onlooker onlooker;
        ip("link set lo up");
        ip("addr add 10.1.9.1/32 dev lo");
        ip("route add 10.2.0.0/16 dev lo");
        onlooker.reportsOfAWhile();
        EXPECT_EQ(onlooker.status(), kNone);
    });
}

TEST(NetworkChanges, ADefaultRouteOfIPv6AloneIsEnough) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        if (::access("/proc/net/if_inet6", F_OK) != 0) {
            GTEST_SKIP() << "NOT TESTED: the kernel has no IPv6";
        }
        plugIn("eth7", "10.1.2", 10);
        ip("addr del 10.1.2.1/24 dev eth7");
        ip("-6 addr add fd00:1::1/64 dev eth7 nodad");
        Onlooker onlooker;
        EXPECT_EQ(onlooker.status(), kNone);
        ip("-6 route add default via fd00:1::2 dev eth7");
        EXPECT_TRUE(onlooker.sees(kWifi));
        ip("-6 route del default via fd00:1::2 dev eth7");
        EXPECT_TRUE(onlooker.sees(kNone));
        ip("-6 route add default via fd00:1::2 dev eth7");
        EXPECT_TRUE(onlooker.sees(kWifi));
        ip("link set eth7 down");
        EXPECT_TRUE(onlooker.sees(kNone));
    });
}

}  // namespace
}  // namespace xel::contract
