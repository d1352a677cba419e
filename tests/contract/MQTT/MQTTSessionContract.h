#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/MQTTSession.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/MQTTSDK/RecordingSessionDelegate.h"

namespace xel::contract {

/// What every session owes its owner. A subject is made with the session's delegate, and has
///     MQTTSession& session();
///     std::size_t attempts();    // to connect, that it has started
///     void acceptAttempt();      // the broker does so
///     void loseConnection();     // as a network does
///     void runUntilIdle();       // drives the loop
///     std::string unsendable();  // a topic that no broker may be sent
template <class Subject>
class MQTTSessionContract : public ::testing::Test {
protected:
    using Lines = std::vector<std::string>;

    MQTTSession& session() { return subject_.session(); }

    void startConnecting() { session().connectToHost("broker.example", 1880, false); }
    void connect() {
        startConnecting();
        subject_.acceptAttempt();
        EXPECT_EQ(delegate_.takeLines(), Lines{"Connected"});
    }

    static TopicTable twoTopics() {
        TopicTable topics;
        topics.set("t/b", 1);
        topics.set("t/a", 1);
        return topics;
    }

    RecordingSessionDelegate delegate_;
    Subject subject_{delegate_};
};

TYPED_TEST_SUITE_P(MQTTSessionContract);

TYPED_TEST_P(MQTTSessionContract, ConnectsOnceHoweverOftenItIsAsked) {
    EXPECT_EQ(this->session().status(), MQTTSessionStatus::Created);
    this->startConnecting();
    this->startConnecting();
    EXPECT_EQ(this->session().status(), MQTTSessionStatus::Connecting);
    EXPECT_TRUE(this->delegate_.lines.empty()) << "the outcome comes later";
    this->subject_.acceptAttempt();
    EXPECT_EQ(this->session().status(), MQTTSessionStatus::Connected);
    this->startConnecting();
    this->subject_.runUntilIdle();
    EXPECT_EQ(this->session().status(), MQTTSessionStatus::Connected);
    EXPECT_EQ(this->subject_.attempts(), 1U);
    EXPECT_EQ(this->delegate_.lines, (std::vector<std::string>{"Connected"}));
}

TYPED_TEST_P(MQTTSessionContract, ConnectsAgainAfterALossAndAfterAClose) {
    this->connect();
    this->subject_.loseConnection();
    EXPECT_EQ(this->session().status(), MQTTSessionStatus::Error);
    EXPECT_EQ(this->delegate_.takeLines(), (std::vector<std::string>{"ConnectionError"}));
    EXPECT_EQ(this->delegate_.errors.size(), 1U) << "with its reason";
    this->connect();
    this->session().close();
    EXPECT_EQ(this->delegate_.takeLines(), (std::vector<std::string>{"ConnectionClosed"}));
    this->connect();
    EXPECT_EQ(this->subject_.attempts(), 3U);
}

TYPED_TEST_P(MQTTSessionContract, ReportsItsClosingAtOnceAndItsEndLater) {
    for (const bool isConnected : {true, false}) {
        SCOPED_TRACE(isConnected);
        if (isConnected) {
            this->connect();
        } else {
            this->startConnecting();
        }
        int ended = 0;
        this->session().close([&](bool /*everythingWasSent*/) { ++ended; });
        EXPECT_EQ(this->session().status(), MQTTSessionStatus::Closed);
        EXPECT_EQ(this->delegate_.takeLines(), (std::vector<std::string>{"ConnectionClosed"}));
        EXPECT_EQ(ended, 0);
        this->subject_.runUntilIdle();
        EXPECT_EQ(ended, 1);
        EXPECT_TRUE(this->delegate_.lines.empty());
    }
}

TYPED_TEST_P(MQTTSessionContract, ReportsNoClosingWhereThereIsNothingToClose) {
    std::vector<bool> ended;
    this->session().close([&](bool everythingWasSent) { ended.push_back(everythingWasSent); });
    EXPECT_EQ(this->session().status(), MQTTSessionStatus::Created);
    EXPECT_TRUE(ended.empty());
    this->subject_.runUntilIdle();
    EXPECT_EQ(ended, std::vector<bool>{true});
    EXPECT_TRUE(this->delegate_.lines.empty());
    this->session().close();
    this->subject_.runUntilIdle();
    EXPECT_TRUE(this->delegate_.lines.empty());
}

TYPED_TEST_P(MQTTSessionContract, SubscribesToNothingWithoutAConnection) {
    const auto expectNothing = [](const MQTTSubscribeOutcome& outcome) {
        EXPECT_TRUE(outcome.batches.empty());
        EXPECT_TRUE(outcome.refused.empty()) << "not before it can be asked for";
        EXPECT_TRUE(outcome.superseded.empty());
    };
    TopicTable unsendable;
    unsendable.set(this->subject_.unsendable(), 1);
    for (const auto& topics : {this->twoTopics(), unsendable}) {
        expectNothing(this->session().subscribeToTopics(topics));
    }
    this->startConnecting();
    expectNothing(this->session().subscribeToTopics(this->twoTopics()));
    this->subject_.acceptAttempt();
    this->subject_.loseConnection();
    expectNothing(this->session().subscribeToTopic("t/a", 1));
}

TYPED_TEST_P(MQTTSessionContract, SubscribesToATableWithOnePacketInItsOrder) {
    this->connect();
    const auto first = this->session().subscribeToTopics(this->twoTopics());
    ASSERT_EQ(first.batches.size(), 1U);
    EXPECT_EQ(firstOf(first.batches).filters, (std::vector<std::string>{"t/b", "t/a"}));
    EXPECT_NE(firstOf(first.batches).packetId, 0);
    const auto second = this->session().subscribeToTopic("t/c", 1);
    ASSERT_EQ(second.batches.size(), 1U);
    EXPECT_EQ(firstOf(second.batches).filters, std::vector<std::string>{"t/c"});
    EXPECT_NE(firstOf(second.batches).packetId, firstOf(first.batches).packetId);
}

TYPED_TEST_P(MQTTSessionContract, RefusesATopicThatCannotBeSentAndSubscribesToTheOthers) {
    this->connect();
    auto topics = this->twoTopics();
    topics.set(this->subject_.unsendable(), 1);
    const auto outcome = this->session().subscribeToTopics(topics);
    ASSERT_EQ(outcome.refused.size(), 1U);
    EXPECT_EQ(firstOf(outcome.refused).topic, this->subject_.unsendable());
    EXPECT_EQ(firstOf(outcome.refused).error.domain, kMQTTErrorDomain);
    EXPECT_EQ(firstOf(outcome.refused).error.code, static_cast<std::int64_t>(MQTTErrorCode::NameNotSendable));
    ASSERT_EQ(outcome.batches.size(), 1U);
    EXPECT_EQ(firstOf(outcome.batches).filters.size(), 2U);
    const auto removal = this->session().unsubscribeTopic(this->subject_.unsendable());
    EXPECT_EQ(removal.refused.size(), 1U);
    EXPECT_EQ(removal.packetId, 0) << "nothing was sent";
}

TYPED_TEST_P(MQTTSessionContract, UnsubscribesWithAPacketOnlyOverAConnection) {
    EXPECT_EQ(this->session().unsubscribeTopic("t/a").packetId, 0);
    this->startConnecting();
    EXPECT_EQ(this->session().unsubscribeTopic("t/a").packetId, 0);
    this->subject_.acceptAttempt();
    const std::vector<std::string> topics{"t/a", "t/b"};
    const auto outcome = this->session().unsubscribeTopics(topics);
    EXPECT_NE(outcome.packetId, 0);
    EXPECT_TRUE(outcome.refused.empty());
}

TYPED_TEST_P(MQTTSessionContract, TakesPublicationsWithoutAConnection) {
    EXPECT_TRUE(this->session().publishDataAtMostOnce("dropped", "t/a", false));
    EXPECT_TRUE(this->session().publishDataAtLeastOnce("kept", "t/a", false));
}

REGISTER_TYPED_TEST_SUITE_P(MQTTSessionContract, ConnectsOnceHoweverOftenItIsAsked,
                            ConnectsAgainAfterALossAndAfterAClose, ReportsItsClosingAtOnceAndItsEndLater,
                            ReportsNoClosingWhereThereIsNothingToClose, SubscribesToNothingWithoutAConnection,
                            SubscribesToATableWithOnePacketInItsOrder,
                            RefusesATopicThatCannotBeSentAndSubscribesToTheOthers,
                            UnsubscribesWithAPacketOnlyOverAConnection, TakesPublicationsWithoutAConnection);

}  // namespace xel::contract
