#pragma once

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <sched.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Network/NetlinkReachability.h"

namespace xel::contract {

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

/// Why there is no network namespace, by the error number of unshare(2).
inline std::string networkRefusalText(int error) {
    return std::string("a network namespace is not permitted: ") + std::strerror(error);
}

/// Runs the command of iproute2 in the calling thread's namespace, which a child inherits.
inline void ip(const std::string& arguments) {
    ASSERT_EQ(std::system(("ip " + arguments).c_str()), 0) << "ip " << arguments;
}

/// Waits until the kernel has passed the news on from one end of a cable to the other.
inline bool eventually(const std::function<bool()>& holds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!holds()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

/// A link whose cable is plugged in: a pair of devices, both up.
inline void plugIn(const std::string& name, const std::string& network, int metric) {
    ip("link add " + name + " type veth peer name peer-" + name);
    ip("link set " + name + " up");
    ip("link set peer-" + name + " up");
    ip("addr add " + network + ".1/24 dev " + name);
    ip("route add default via " + network + ".2 dev " + name + " metric " + std::to_string(metric));
}

/// Reachability on a loop of the test's own.
class LiveNetwork {
public:
    explicit LiveNetwork(std::string brokerHost) : brokerHost_(std::move(brokerHost)) {}

    /// Runs the loop until the block was called, or the patience has ended.
    bool runUntilReport(int& reports, std::chrono::milliseconds patience = std::chrono::seconds(5)) {
        const int before = reports;
        const auto deadline = std::chrono::steady_clock::now() + patience;
        while (reports == before && std::chrono::steady_clock::now() < deadline) {
            runLoop_->scheduleTimer(std::chrono::milliseconds(10), [this] { runLoop_->stop(); });
            runLoop_->run();
        }
        return reports != before;
    }

    std::string brokerHost_;
    std::shared_ptr<AsioRunLoop> runLoop_ = std::make_shared<AsioRunLoop>();
    NetlinkReachabilityFactory factory_{runLoop_, [this] { return brokerHost_; }};
};

}  // namespace xel::contract

#define IN_A_NETWORK_OF_ITS_OWN(...)                                                \
    do {                                                                            \
        if (const int refusal = NetworkNamespace::run(__VA_ARGS__); refusal != 0) { \
            GTEST_SKIP() << "NOT TESTED: " << networkRefusalText(refusal);          \
        }                                                                           \
    } while (false)
