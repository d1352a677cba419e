#pragma once

#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/Device.h"

namespace xel::contract {

/// What every bundle owes. A subject has
///     static std::unique_ptr<NSBundle> makeBundle(std::optional<std::string> shortVersion,
///                                                 std::optional<std::string> bundleVersion);
template <class Subject>
class NSBundleContract : public ::testing::Test {};

TYPED_TEST_SUITE_P(NSBundleContract);

TYPED_TEST_P(NSBundleContract, TellsWhatTheHostGave) {
    using Text = std::optional<std::string>;
    const Text texts[] = {std::nullopt, "", "2.3", "41 \"beta\"\n"};
    for (const auto& shortVersion : texts) {
        for (const auto& version : texts) {
            const auto bundle = TypeParam::makeBundle(shortVersion, version);
            EXPECT_EQ(bundle->shortVersionString(), shortVersion);
            EXPECT_EQ(bundle->bundleVersion(), version);
        }
    }
}

TYPED_TEST_P(NSBundleContract, TellsItOnAnyThread) {
    const auto bundle = TypeParam::makeBundle("2.3", std::nullopt);
    std::thread([&] {
        EXPECT_EQ(bundle->shortVersionString(), "2.3");
        EXPECT_EQ(bundle->bundleVersion(), std::nullopt);
    }).join();
}

REGISTER_TYPED_TEST_SUITE_P(NSBundleContract, TellsWhatTheHostGave, TellsItOnAnyThread);

}  // namespace xel::contract
