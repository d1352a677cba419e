#pragma once

#include <chrono>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/Clock.h"

namespace xel::contract {

/// What every clock owes. A subject is default constructible and has
///     Clock& clock();
///     void letPass(std::chrono::milliseconds time);  // at least so much time passes
template <class Subject>
class ClockContract : public ::testing::Test {
protected:
    Subject subject_;
};

TYPED_TEST_SUITE_P(ClockContract);

TYPED_TEST_P(ClockContract, GoesForwardWithTime) {
    const auto steady = this->subject_.clock().steadyNow();
    const auto date = this->subject_.clock().now();
    this->subject_.letPass(std::chrono::milliseconds(5));
    EXPECT_GE(this->subject_.clock().steadyNow() - steady, std::chrono::milliseconds(5));
    EXPECT_GT(this->subject_.clock().now(), date);
}

TYPED_TEST_P(ClockContract, TellsADateOfOurTime) {
    const double seconds = secondsSince1970(this->subject_.clock().now());
    EXPECT_GT(seconds, 1.7e9) << "2023 has passed";
    EXPECT_LT(seconds, 4.2e9) << "milliseconds taken for seconds?";
}

REGISTER_TYPED_TEST_SUITE_P(ClockContract, GoesForwardWithTime, TellsADateOfOurTime);

}  // namespace xel::contract
