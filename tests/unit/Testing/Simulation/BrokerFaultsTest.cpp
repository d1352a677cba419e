#include "XelPushClient/Testing/Broker/MalformedPackets.h"
#include "tests/unit/Testing/Simulation/SimulatedServiceTest.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

using BrokerFaults = SimulatedServiceTest;

TEST_F(BrokerFaults, EveryMalformedPacketEndsTheConnectionAndTheNextOneIsSound) {
    startConnected();
    for (const auto& packet : malformedPackets()) {
        takeSent();
        service_.inject({FaultKind::BrokerSendsMalformed, std::string(packet.name)});
        machine_.runUntilIdle();
        EXPECT_NE(state(), "Connected") << packet.name;
        machine_.advanceBy(4s);
        EXPECT_EQ(state(), "Connected") << packet.name;
        EXPECT_THAT(takeSent(), Contains("CONNECT")) << packet.name;
    }
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
}

TEST_F(BrokerFaults, ASilentBrokerIsFoundOutAndGoesOnWithWhatHasCome) {
    startConnected();
    service_.inject("broker falls silent");
    EXPECT_TRUE(push_->publish("news", "hello"));
    send("m1");
    EXPECT_THAT(heard_, IsEmpty());
    takeSent();
    machine_.advanceBy(55s);
    EXPECT_NE(state(), "Connected") << "its PINGREQ or PUBLISH was not answered";
    EXPECT_THAT(takeSent(), IsEmpty()) << "nothing was read";
    service_.heal();
    machine_.advanceBy(60s);
    EXPECT_EQ(state(), "Connected");
    EXPECT_THAT(heard_, ElementsAre("m1"));
    EXPECT_THAT(takeSent(), Contains("PUBLISH"));
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
}

TEST_F(BrokerFaults, LateAnswersComeAtTheirTime) {
    service_.inject("broker delays CONNACK by 5000 ms");
    start();
    machine_.advanceBy(3s);
    EXPECT_EQ(state(), "Connecting");
    machine_.advanceBy(2s);
    EXPECT_EQ(state(), "Connected");
}

TEST_F(BrokerFaults, ReversedAnswersComeTheLastFirst) {
    startConnected();
    std::vector<std::uint16_t> answered;
    struct Answers final : FakeBrokerObserver {
        explicit Answers(std::vector<std::uint16_t>& to) : ids(to) {}
        void brokerDidSend(const FakeBrokerRecord& record) override { ids.push_back(record.packet.packetId); }
        std::vector<std::uint16_t>& ids;
    } answers(answered);
    machine_.broker->addObserver(answers);
    service_.inject("broker reverses SUBACK within 500 ms");
    push_->subscribe("news");
    machine_.advanceBy(100ms);
    push_->subscribe("offers");
    machine_.advanceBy(1s);
    machine_.broker->removeObserver(answers);
    ASSERT_EQ(answered.size(), 2U);
    EXPECT_GT(answered[0], answered[1]);
    EXPECT_TRUE(machine_.broker->subscriptionsOf(kClientId).contains("app/shop/user/public/news"));
}

TEST_F(BrokerFaults, RepeatedPublicationsReachTheHostOnce) {
    startConnected();
    service_.inject("broker repeats publications");
    takeSent();
    send("m1");
    EXPECT_THAT(heard_, ElementsAre("m1"));
    EXPECT_THAT(takeSent(), ElementsAre("PUBACK", "PUBACK"));
    EXPECT_EQ(machine_.broker->unacknowledgedCount(kClientId), 0U);
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
}

TEST_F(BrokerFaults, WithoutSessionsWhatComesMeanwhileIsLost) {
    startConnected();
    service_.inject("broker keeps no sessions");
    service_.inject("broker ends connections");
    machine_.runUntilIdle();
    send("lost");
    machine_.advanceBy(4s);
    ASSERT_EQ(state(), "Connected");
    send("m1");
    EXPECT_THAT(heard_, ElementsAre("m1"));
}

TEST_F(BrokerFaults, AForgottenSessionUnderAConnectionIsNoFaultOfTheClients) {
    startConnected();
    service_.inject("broker keeps 1 in flight");
    machine_.broker->publish({kTopic, R"({"id":"m1"})", 1, false});
    machine_.broker->publish({kTopic, R"({"id":"lost"})", 1, false});
    service_.inject("broker forgets sessions");
    machine_.runUntilIdle();
    EXPECT_THAT(heard_, ElementsAre("m1"));
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
    EXPECT_TRUE(machine_.broker->subscriptionsOf(kClientId).empty());
}

TEST_F(BrokerFaults, KeepsSoManyInFlight) {
    startConnected();
    service_.inject("broker loses acknowledgements");
    service_.inject("broker keeps 200 in flight");
    for (int i = 0; i < 210; ++i) {
        machine_.broker->publish({kTopic, R"({"id":"m)" + std::to_string(i) + R"("})", 1, false});
    }
    machine_.runUntilIdle();
    EXPECT_EQ(heard_.size(), 200U);
}

TEST_F(BrokerFaults, EachLastingOneEnds) {
    startConnected();
    for (const auto* line :
         {"broker stops listening", "broker holds connections", "broker falls silent", "broker shows expired",
          "broker refuses with 3", "broker withholds CONNACK", "broker delays CONNACK by 86400000 ms",
          "broker reverses CONNACK within 86400000 ms"}) {
        service_.inject(line);
        service_.inject("broker loses connections");
        machine_.advanceBy(10s);
        EXPECT_NE(state(), "Connected") << line;
        service_.heal();
        machine_.advanceBy(30s);
        EXPECT_EQ(state(), "Connected") << line;
    }
    EXPECT_THAT(machine_.broker->faults(), IsEmpty());
}

TEST_F(BrokerFaults, EndTheConnectionOnATopicUntilTheyAreHealed) {
    startConnected();
    service_.inject("broker ends on app/shop/user/public/news");
    push_->subscribe("news");
    machine_.runUntilIdle();
    EXPECT_NE(state(), "Connected");
    service_.heal();
    service_.inject("broker grants app/shop/user/public/offers 128");
    machine_.advanceBy(5s);
    push_->subscribe("offers");
    machine_.runUntilIdle();
    EXPECT_EQ(state(), "Connected");
    EXPECT_FALSE(machine_.broker->subscriptionsOf(kClientId).contains("app/shop/user/public/offers"));
    service_.heal();
    push_->subscribe("offers");
    machine_.runUntilIdle();
    EXPECT_TRUE(machine_.broker->subscriptionsOf(kClientId).contains("app/shop/user/public/offers"));
}

}  // namespace
}  // namespace xel
