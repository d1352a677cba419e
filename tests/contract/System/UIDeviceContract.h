#pragma once

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/Device.h"

namespace xel::contract {

/// What every device owes. A subject is default constructible and has
///     UIDevice& device();
template <class Subject>
class UIDeviceContract : public ::testing::Test {
protected:
    Subject subject_;
};

TYPED_TEST_SUITE_P(UIDeviceContract);

TYPED_TEST_P(UIDeviceContract, HasAVersionAndAMachine) {
    EXPECT_FALSE(this->subject_.device().systemVersion().empty());
    EXPECT_FALSE(this->subject_.device().machineIdentifier().empty());
}

TYPED_TEST_P(UIDeviceContract, TellsTheSameAgainAndOnAnyThread) {
    const std::string version = this->subject_.device().systemVersion();
    const std::string machine = this->subject_.device().machineIdentifier();
    std::thread([&] {
        EXPECT_EQ(this->subject_.device().systemVersion(), version);
        EXPECT_EQ(this->subject_.device().machineIdentifier(), machine);
    }).join();
}

TYPED_TEST_P(UIDeviceContract, TellsWhatFitsIntoARequest) {
    for (const auto& fact :
         {this->subject_.device().systemVersion(), this->subject_.device().machineIdentifier()}) {
        EXPECT_EQ(fact.find_first_of("\n\r\""), std::string::npos) << fact;
    }
}

REGISTER_TYPED_TEST_SUITE_P(UIDeviceContract, HasAVersionAndAMachine, TellsTheSameAgainAndOnAnyThread,
                            TellsWhatFitsIntoARequest);

}  // namespace xel::contract
