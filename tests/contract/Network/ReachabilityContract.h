#pragma once

#include <memory>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/PushClientServerReachability.h"

namespace xel::contract {

/// What every reachability monitor owes. A subject is default constructible and has
/// - `ReachabilityFactory& factory()`;
/// - `void runForAWhile()`: drives the loop for as long as a report could take to come;
/// - `const char* whyNot()`: why the links cannot be changed here, or null;
/// - `void changeNetwork()`: changes the links so that a report must come.
template <class Subject>
class ReachabilityContract : public ::testing::Test {
protected:
    Subject subject_;
};

TYPED_TEST_SUITE_P(ReachabilityContract);

TYPED_TEST_P(ReachabilityContract, TellsTheSameByMonitorAndByFactory) {
    const auto monitor = this->subject_.factory().reachabilityForInternetConnection();
    ASSERT_NE(monitor, nullptr);
    if (monitor->isReachable()) {
        EXPECT_EQ(monitor->currentReachabilityStatus(), this->subject_.factory().getConnectionType());
    } else {
        EXPECT_EQ(this->subject_.factory().getConnectionType(),
                  PushClientServerReachabilityNoNetworkFoundType);
    }
}

TYPED_TEST_P(ReachabilityContract, NeverCallsTheBlockInsideACall) {
    const auto monitor = this->subject_.factory().reachabilityForInternetConnection();
    int calls = 0;
    monitor->setReachabilityBlock([&](PushClientServerReachability&) { ++calls; });
    EXPECT_TRUE(monitor->startNotifier());
    EXPECT_EQ(calls, 0);
    static_cast<void>(monitor->isReachable());
    monitor->stopNotifier();
    monitor->stopNotifier();
    EXPECT_EQ(calls, 0);
}

TYPED_TEST_P(ReachabilityContract, ReportsChangesBetweenStartAndStop) {
    if (const char* reason = this->subject_.whyNot()) {
        GTEST_SKIP() << "NOT TESTED: " << reason;
    }
    const auto monitor = this->subject_.factory().reachabilityForInternetConnection();
    int calls = 0;
    monitor->setReachabilityBlock([&](PushClientServerReachability& reporter) {
        ++calls;
        EXPECT_EQ(&reporter, monitor.get());
    });
    ASSERT_TRUE(monitor->startNotifier());
    this->subject_.changeNetwork();
    EXPECT_EQ(calls, 0);
    this->subject_.runForAWhile();
    EXPECT_GE(calls, 1);
    monitor->stopNotifier();
    calls = 0;
    this->subject_.changeNetwork();
    this->subject_.runForAWhile();
    EXPECT_EQ(calls, 0);
}

TYPED_TEST_P(ReachabilityContract, IsSilentOnceItIsDropped) {
    if (const char* reason = this->subject_.whyNot()) {
        GTEST_SKIP() << "NOT TESTED: " << reason;
    }
    int calls = 0;
    auto monitor = this->subject_.factory().reachabilityForInternetConnection();
    monitor->setReachabilityBlock([&](PushClientServerReachability&) { ++calls; });
    ASSERT_TRUE(monitor->startNotifier());
    this->subject_.changeNetwork();
    monitor.reset();
    this->subject_.runForAWhile();
    EXPECT_EQ(calls, 0);
}

REGISTER_TYPED_TEST_SUITE_P(ReachabilityContract, TellsTheSameByMonitorAndByFactory,
                            NeverCallsTheBlockInsideACall, ReportsChangesBetweenStartAndStop,
                            IsSilentOnceItIsDropped);

}  // namespace xel::contract
