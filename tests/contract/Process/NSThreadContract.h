#pragma once

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSThread.h"

namespace xel::contract {

/// What every thread port owes. A subject is default constructible and has
///     NSThread& thread();
template <class Subject>
class NSThreadContract : public ::testing::Test {
protected:
    Subject subject_;
};

TYPED_TEST_SUITE_P(NSThreadContract);

TYPED_TEST_P(NSThreadContract, TellsTheStackOnAnyThread) {
    const auto check = [this] {
        const auto symbols = this->subject_.thread().callStackSymbols();
        EXPECT_FALSE(symbols.empty());
        for (const auto& symbol : symbols) {
            EXPECT_FALSE(symbol.empty());
        }
    };
    check();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(check);
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

REGISTER_TYPED_TEST_SUITE_P(NSThreadContract, TellsTheStackOnAnyThread);

}  // namespace xel::contract
