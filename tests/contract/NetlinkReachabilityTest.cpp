#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include "XelPushClient/Linux/AsioRunLoop.h"
#include "XelPushClient/Linux/NetlinkReachability.h"
#include "tests/contract/ReachabilityContract.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

/// Runs a piece of a test on a thread in a network namespace of its own, so that links can be changed without
/// touching the machine's. A namespace belongs to a thread, and goes with it.
class NetworkNamespace {
public:
    /// The error number when the system does not permit a namespace, else 0.
    static int run(const std::function<void()>& work) {
        int refusal = 0;
        std::thread([&] {
            if (::unshare(CLONE_NEWNET) != 0) {
                refusal = errno;
                return;
            }
            work();
        }).join();
        return refusal;
    }
};

/// Runs the command of iproute2 in the calling thread's namespace, which a child inherits.
void ip(const std::string& arguments) {
    ASSERT_EQ(std::system(("ip " + arguments).c_str()), 0) << "ip " << arguments;
}

/// Waits until the kernel has passed the news on from one end of a cable to the other.
bool eventually(const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(2ms);
    }
    return true;
}

/// A link whose cable is plugged in: a pair of devices, both up.
void plugIn(const std::string& name, const std::string& network, int metric) {
    ip("link add " + name + " type veth peer name peer-" + name);
    ip("link set " + name + " up");
    ip("link set peer-" + name + " up");
    ip("addr add " + network + ".1/24 dev " + name);
    ip("route add default via " + network + ".2 dev " + name + " metric " + std::to_string(metric));
}

#define IN_A_NETWORK_OF_ITS_OWN(...)                                                                        \
    do {                                                                                                    \
        if (const int refusal = NetworkNamespace::run(__VA_ARGS__); refusal != 0) {                         \
            GTEST_SKIP() << "NOT TESTED: a network namespace is not permitted: " << std::strerror(refusal); \
        }                                                                                                   \
    } while (false)

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

class LiveNetwork {
public:
    explicit LiveNetwork(std::string brokerHost) : brokerHost_(std::move(brokerHost)) {}

    /// Runs the loop until the block was called, or the patience has ended.
    bool runUntilReport(int& reports, std::chrono::milliseconds patience = 5s) {
        const int before = reports;
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (reports == before && std::chrono::steady_clock::now() < deadline) {
            runLoop_->scheduleTimer(10ms, [this] { runLoop_->stop(); });
            runLoop_->run();
        }
        return reports != before;
    }

    std::string brokerHost_;
    std::shared_ptr<AsioRunLoop> runLoop_ = std::make_shared<AsioRunLoop>();
    NetlinkReachabilityFactory factory_{runLoop_, [this] { return brokerHost_; }};
};

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
        hasOwnNetwork_ = home_ >= 0 && ::unshare(CLONE_NEWNET) == 0;
        if (hasOwnNetwork_) {
            ip("link add eth7 type veth peer name peer-eth7");
            ip("link set peer-eth7 up");
        }
        network_ = std::make_unique<LiveNetwork>("push.example");
    }
    ~NetlinkSubject() {
        if (hasOwnNetwork_) {
            EXPECT_EQ(::setns(home_, CLONE_NEWNET), 0);
        }
        ::close(home_);
    }

    ReachabilityFactory& factory() { return network_->factory_; }
    void runForAWhile() {
        int reports = 0;
        network_->runUntilReport(reports, 100ms);
    }
    bool changeNetwork() {
        if (hasOwnNetwork_) {
            isUp_ = !isUp_;
            ip(std::string("link set eth7 ") + (isUp_ ? "up" : "down"));
        }
        return hasOwnNetwork_;
    }

private:
    int home_ = -1;
    bool hasOwnNetwork_ = false;
    bool isUp_ = false;
    std::unique_ptr<LiveNetwork> network_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Netlink, ReachabilityContract, NetlinkSubject);

}  // namespace xel::contract
