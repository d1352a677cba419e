#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include "tests/contract/Network/NetworkNamespace.h"
#include "tests/contract/Network/ReachabilityContract.h"
#include "tests/contract/Process/NoDescriptors.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

TEST(NetworkState, HasNoDefaultRouteWithoutLinks) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        EXPECT_FALSE(readDefaultRoute().has_value());
        ip("link set lo up");
        EXPECT_FALSE(readDefaultRoute().has_value());
    });
}

TEST(NetworkState, IsTheRouteOfTheSmallestMetric) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        plugIn("wwan0", "10.1.1", 50);
        ASSERT_TRUE(readDefaultRoute().has_value());
        EXPECT_EQ(readDefaultRoute()->interfaceName, "wwan0");
        EXPECT_EQ(readDefaultRoute()->networkType, PushClientServerReachabilityCelluarNetworkType);

        plugIn("eth7", "10.1.2", 10);
        EXPECT_EQ(readDefaultRoute()->interfaceName, "eth7");
        EXPECT_EQ(readDefaultRoute()->networkType, PushClientServerReachabilityWifiNetworkType);

        ip("link set eth7 down");
        EXPECT_EQ(readDefaultRoute()->interfaceName, "wwan0");
    });
}

TEST(NetworkState, IgnoresARouteWhoseCableIsPulled) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        plugIn("eth7", "10.1.2", 10);
        ASSERT_TRUE(readDefaultRoute().has_value());
        ip("link set peer-eth7 down");
        EXPECT_TRUE(eventually([] { return !readDefaultRoute().has_value(); }));
        ip("link set peer-eth7 up");
        EXPECT_TRUE(eventually([] { return readDefaultRoute().has_value(); }));
    });
}

TEST(NetworkState, IgnoresRoutesThatLeadNowhereAndOtherTables) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        ip("link set lo up");
        ip("route add unreachable default metric 5");
        ip("route add blackhole default metric 6");
        EXPECT_FALSE(readDefaultRoute().has_value());
        plugIn("eth7", "10.1.2", 10);
        ip("route add default via 10.1.2.3 dev eth7 table 77");
        ip("route del default via 10.1.2.2");
        EXPECT_FALSE(readDefaultRoute().has_value());
    });
}

TEST(NetworkState, ReadsRoutesOfSeveralHops) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        plugIn("wwan0", "10.1.1", 50);
        plugIn("eth7", "10.1.2", 60);
        ip("route del default metric 50");
        ip("route del default metric 60");
        ip("route add default metric 5 nexthop via 10.1.2.2 dev eth7 nexthop via 10.1.1.2 dev wwan0");
        ASSERT_TRUE(readDefaultRoute().has_value());
        EXPECT_EQ(readDefaultRoute()->interfaceName, "eth7");
        ip("link set peer-eth7 down");
        EXPECT_TRUE(eventually([] {
            const auto route = readDefaultRoute();
            return route && route->interfaceName == "wwan0";
        }));
    });
}

TEST(NetworkState, ReadsIPv6Too) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        if (::access("/proc/net/if_inet6", F_OK) != 0) {
            GTEST_SKIP() << "NOT TESTED: the kernel has no IPv6";
        }
        plugIn("eth7", "10.1.2", 10);
        ip("route del default");
        ip("-6 addr add fd00:1::1/64 dev eth7 nodad");
        EXPECT_FALSE(readDefaultRoute().has_value());
        ip("-6 route add default via fd00:1::2 dev eth7");
        ASSERT_TRUE(readDefaultRoute().has_value());
        EXPECT_EQ(readDefaultRoute()->interfaceName, "eth7");
    });
}

TEST(NetlinkReachability, FollowsTheLinksOfTheMachine) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        LiveNetwork network("push.example");
        const auto reachability = network.factory_.reachabilityForInternetConnection();
        int reports = 0;
        reachability->setReachabilityBlock([&](PushClientServerReachability& reporter) {
            EXPECT_EQ(&reporter, reachability.get());
            EXPECT_TRUE(network.runLoop_->isCurrent());
            ++reports;
        });
        ASSERT_TRUE(reachability->startNotifier());
        EXPECT_FALSE(reachability->isReachable());
        EXPECT_EQ(reachability->currentReachabilityStatus(), PushClientServerReachabilityNoNetworkFoundType);

        plugIn("wwan0", "10.1.1", 50);
        const auto runUntilStatus = [&](PushClientServerReachabilityNetworkType wanted) {
            while (reachability->currentReachabilityStatus() != wanted) {
                ASSERT_TRUE(network.runUntilReport(reports));
            }
        };
        runUntilStatus(PushClientServerReachabilityCelluarNetworkType);
        EXPECT_TRUE(reachability->isReachable());
        EXPECT_EQ(network.factory_.getConnectionType(), PushClientServerReachabilityCelluarNetworkType);

        plugIn("wlan0", "10.1.2", 10);
        runUntilStatus(PushClientServerReachabilityWifiNetworkType);

        ip("link set wlan0 down");
        runUntilStatus(PushClientServerReachabilityCelluarNetworkType);

        ip("link set peer-wwan0 down");
        runUntilStatus(PushClientServerReachabilityNoNetworkFoundType);
        EXPECT_FALSE(reachability->isReachable());
        EXPECT_EQ(network.factory_.getConnectionType(), PushClientServerReachabilityNoNetworkFoundType);
    });
}

TEST(NetlinkReachability, IsAlwaysReachableTowardsThisMachine) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        LiveNetwork network("localhost");
        const auto reachability = network.factory_.reachabilityForInternetConnection();
        EXPECT_TRUE(reachability->isReachable());
        EXPECT_EQ(reachability->currentReachabilityStatus(), PushClientServerReachabilityWifiNetworkType);
        network.brokerHost_ = "push.example";
        EXPECT_FALSE(reachability->isReachable());
    });
}

TEST(NetlinkReachability, ReadsTheRoutesOfTheMomentBeforeItIsStarted) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        LiveNetwork network("push.example");
        const auto reachability = network.factory_.reachabilityForInternetConnection();
        EXPECT_FALSE(reachability->isReachable());
        plugIn("eth7", "10.1.2", 10);
        EXPECT_TRUE(reachability->isReachable());
    });
}

TEST(NetlinkReachability, OfOneFactoryTakesOneDescriptorForAllAndEachIsTold) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        LiveNetwork network("push.example");
        const std::size_t before = countDescriptors();
        std::vector<std::shared_ptr<PushClientServerReachability>> all;
        std::array<int, 4> reports{};
        for (int& count : reports) {
            all.push_back(network.factory_.reachabilityForInternetConnection());
            all.back()->setReachabilityBlock([&count](PushClientServerReachability&) { ++count; });
            EXPECT_TRUE(all.back()->startNotifier());
        }
        EXPECT_EQ(countDescriptors(), before + 1);
        all[2]->stopNotifier();
        all[3].reset();
        plugIn("eth7", "10.1.2", 10);
        while (!all[0]->isReachable() && network.runUntilReport(reports[0])) {}
        EXPECT_TRUE(all[0]->isReachable());
        EXPECT_TRUE(all[1]->isReachable());
        EXPECT_EQ(reports[1], reports[0]);
        EXPECT_EQ(reports[2] + reports[3], 0);
        EXPECT_TRUE(all[2]->startNotifier());
        EXPECT_TRUE(all[2]->isReachable());
        all.clear();
        EXPECT_EQ(countDescriptors(), before);
    });
}

TEST(NetlinkReachability, MayBeStoppedAndDroppedInItsBlock) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        LiveNetwork network("push.example");
        auto reachability = network.factory_.reachabilityForInternetConnection();
        int reports = 0;
        reachability->setReachabilityBlock([&](PushClientServerReachability& reporter) {
            ++reports;
            reporter.stopNotifier();
            reachability.reset();
        });
        ASSERT_TRUE(reachability->startNotifier());
        plugIn("eth7", "10.1.2", 10);
        EXPECT_TRUE(network.runUntilReport(reports));
        EXPECT_FALSE(network.runUntilReport(reports, 50ms));
        EXPECT_EQ(reports, 1);
    });
}

/// The contract, each test of it on a thread whose namespace is its own where that is permitted.
class NetlinkSubject {
public:
    NetlinkSubject() : home_(::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC)) {
        if (home_ < 0 || ::unshare(CLONE_NEWNET) != 0) {
            reason_ = networkRefusalText(errno);
        } else {
            ip("link add eth7 type veth peer name peer-eth7");
            ip("link set peer-eth7 up");
        }
        network_ = std::make_unique<LiveNetwork>("push.example");
    }
    ~NetlinkSubject() {
        if (reason_.empty()) {
            EXPECT_EQ(::setns(home_, CLONE_NEWNET), 0);
        }
        ::close(home_);
    }

    ReachabilityFactory& factory() { return network_->factory_; }
    void runForAWhile() {
        int reports = 0;
        network_->runUntilReport(reports, 100ms);
    }
    const char* whyNot() { return reason_.empty() ? nullptr : reason_.c_str(); }
    void changeNetwork() {
        isUp_ = !isUp_;
        ip(std::string("link set eth7 ") + (isUp_ ? "up" : "down"));
    }

private:
    int home_ = -1;
    std::string reason_;  // why there is no network of its own; empty: there is one
    bool isUp_ = false;
    std::unique_ptr<LiveNetwork> network_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Netlink, ReachabilityContract, NetlinkSubject);

}  // namespace xel::contract
