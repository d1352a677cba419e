#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/Broker/FakeBrokerAnswers.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using Order = FakeBrokerAnswers::Order;

constexpr auto kSubAck = FakeBrokerPacketType::SubAck;
constexpr auto kPubAck = FakeBrokerPacketType::PubAck;

class FakeBrokerAnswersTest : public testing::Test {
protected:
    void answer(FakeBrokerPacketType type, char name) {
        answers_.add(type, [this, name] { sent_ += name; });
    }

    FakeRunLoop loop_;
    FakeBrokerAnswers answers_{loop_};
    std::string sent_;
};

TEST_F(FakeBrokerAnswersTest, LeaveAtOnce) {
    answer(kSubAck, 'a');
    answer(kPubAck, 'b');
    EXPECT_EQ(sent_, "ab");
}

TEST_F(FakeBrokerAnswersTest, WaitForTheirReleaseByKind) {
    answers_.setWithholding(kSubAck, true);
    answer(kSubAck, 'a');
    answer(kPubAck, 'b');
    answer(kSubAck, 'c');
    EXPECT_EQ(sent_, "b");
    answers_.release(kSubAck, Order::Reversed);
    EXPECT_EQ(sent_, "bca");
    answer(kSubAck, 'd');
    EXPECT_EQ(sent_, "bcad");
}

TEST_F(FakeBrokerAnswersTest, ComeLateInTheirOrder) {
    answers_.setDelay(kSubAck, 10ms);
    answer(kSubAck, 'a');
    loop_.advanceBy(5ms);
    answer(kSubAck, 'b');
    answer(kPubAck, 'c');
    loop_.advanceBy(5ms);
    EXPECT_EQ(sent_, "ca");
    loop_.advanceBy(5ms);
    EXPECT_EQ(sent_, "cab");
    answers_.setDelay(kSubAck, 0ms);
    answer(kSubAck, 'd');
    EXPECT_EQ(sent_, "cabd");
}

TEST_F(FakeBrokerAnswersTest, AreGatheredAndTurnedRound) {
    answers_.setReversing(kSubAck, 10ms);
    answer(kSubAck, 'a');
    loop_.advanceBy(9ms);
    answer(kSubAck, 'b');
    EXPECT_EQ(sent_, "");
    loop_.advanceBy(1ms);
    EXPECT_EQ(sent_, "ba");
    answer(kSubAck, 'c');
    answer(kSubAck, 'd');
    answers_.setReversing(kSubAck, 0ms);
    EXPECT_EQ(sent_, "badc");
}

}  // namespace
}  // namespace xel
