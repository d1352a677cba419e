#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/LogSink.h"

namespace xel::contract {

/// What every log sink owes. A subject is default constructible and has
///     std::string whyNot();  // why there is no sink here; empty when there is one
///     LogSink& sink();
///     std::vector<std::string> takeLines();  // those that came since it was asked last
template <class Subject>
class LogSinkContract : public ::testing::Test {
protected:
    void SetUp() override {
        if (const std::string reason = subject_.whyNot(); !reason.empty()) {
            GTEST_SKIP() << "NOT TESTED: " << reason;
        }
    }

    Subject subject_;
};

TYPED_TEST_SUITE_P(LogSinkContract);

TYPED_TEST_P(LogSinkContract, KeepsLinesWholeAndInOrder) {
    const std::vector<std::string> lines{"first", "Gr\u00FC\u00DFe, 100 % of %s", std::string(2000, 'x'),
                                         "last"};
    for (const auto& line : lines) {
        this->subject_.sink().write(line);
    }
    EXPECT_EQ(this->subject_.takeLines(), lines);
}

TYPED_TEST_P(LogSinkContract, KeepsTheLinesOfSeveralThreadsApart) {
    constexpr int kThreads = 4;
    constexpr int kLines = 25;
    constexpr std::size_t kLength = 20'000;  // more than a system writes in one piece
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([&, number] {
            const std::string line(kLength, static_cast<char>('a' + number));
            for (int i = 0; i < kLines; ++i) {
                this->subject_.sink().write(line);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const auto lines = this->subject_.takeLines();
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kLines));
    for (int number = 0; number < kThreads; ++number) {
        const std::string line(kLength, static_cast<char>('a' + number));
        EXPECT_EQ(std::count(lines.begin(), lines.end(), line), kLines);
    }
}

TYPED_TEST_P(LogSinkContract, TakesAnyTextWithoutThrowing) {
    for (const auto& text : {std::string(), std::string("\n\n"), std::string("a\0b", 3),
                             std::string("\x1B[2J\r"), std::string("\xFF\xC0"), std::string(300'000, 'y')}) {
        EXPECT_NO_THROW(this->subject_.sink().write(text));
    }
    this->subject_.sink().write("still there");
    const auto lines = this->subject_.takeLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "still there");
}

REGISTER_TYPED_TEST_SUITE_P(LogSinkContract, KeepsLinesWholeAndInOrder, KeepsTheLinesOfSeveralThreadsApart,
                            TakesAnyTextWithoutThrowing);

/// What a sink owes besides that has its lines taken by somebody who may stop: all but syslog(3), which waits
/// for the machine's log. Its subject has
///     void stopReading();  // whoever takes the lines stops
template <class Subject>
class UnreadLogSinkContract : public LogSinkContract<Subject> {};

TYPED_TEST_SUITE_P(UnreadLogSinkContract);

TYPED_TEST_P(UnreadLogSinkContract, DoesNotWaitLongForWhoeverTakesTheLines) {
    this->subject_.stopReading();
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i) {
        this->subject_.sink().write(std::string(1000, 'z'));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

REGISTER_TYPED_TEST_SUITE_P(UnreadLogSinkContract, DoesNotWaitLongForWhoeverTakesTheLines);

}  // namespace xel::contract
