#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/MQTTEngine.h"
#include "tests/unit/MQTTSDK/Octets.h"

namespace xel {
namespace {

using namespace std::chrono_literals;

constexpr MQTTEngine::TimePoint kStart{1000s};

class MQTTEngineTest : public testing::Test {
protected:
    MQTTEngineTest() {
        parameters_.clientId = "c";
        makeEngine();
    }

    void makeEngine() {
        engine_.reset();
        engine_ = std::make_unique<MQTTEngine>(parameters_, options_, ids_, kStart);
        takeOutput();
    }

    void connect() {
        engine_->start(parameters_);
        ASSERT_EQ(feed("20 02 00 00"), MQTTEngineEvent::Connected);
        engine_->didConnect(kStart);
        takeOutput();
    }

    MQTTEngineEvent feed(std::string_view hex) {
        input_ += octetsFromHex(hex);
        std::string_view view = input_;
        const auto event = engine_->next(view, packet_);
        input_.erase(0, input_.size() - view.size());
        return event;
    }

    std::string takeOutput() {
        const std::string output = hexFromOctets(engine_->output());
        engine_->didWriteOutput(kStart);
        return output;
    }

    std::vector<std::uint8_t> answeredCodes() const {
        return {engine_->answeredCodes().begin(), engine_->answeredCodes().end()};
    }

    std::vector<std::string> refusedTopics() const {
        std::vector<std::string> topics;
        for (const MQTTRefusedTopic& refused : refused_) {
            topics.push_back(refused.topic);
        }
        return topics;
    }

    MQTTSessionParameters parameters_;
    MQTTSessionOptions options_;
    std::shared_ptr<PacketIds> ids_ = std::make_shared<PacketIds>();
    std::unique_ptr<MQTTEngine> engine_;
    std::string input_;
    MQTTInboundPacket packet_;
    std::vector<MQTTRefusedTopic> refused_;
};

using Codes = std::vector<std::uint8_t>;

TEST_F(MQTTEngineTest, ConnectsAndTellsWhetherTheSessionWasKept) {
    EXPECT_FALSE(engine_->isConnected());
    engine_->start(parameters_);
    EXPECT_EQ(takeOutput(),
              "100d00044d5154540400"
              "00b4"
              "000163");
    EXPECT_EQ(feed("20 02 01 00"), MQTTEngineEvent::Connected);
    EXPECT_TRUE(packet_.sessionPresent);
    EXPECT_TRUE(engine_->isConnected());
}

TEST_F(MQTTEngineTest, TellsARefusal) {
    engine_->start(parameters_);
    EXPECT_EQ(feed("20 02 00 03"), MQTTEngineEvent::Refused);
    EXPECT_EQ(packet_.returnCode, 3);
    EXPECT_FALSE(engine_->isConnected());
}

TEST_F(MQTTEngineTest, RefusesAKeptSessionWhereACleanOneWasAskedFor) {
    parameters_.cleanSession = true;
    makeEngine();
    engine_->start(parameters_);
    EXPECT_EQ(feed("20 02 01 00"), MQTTEngineEvent::Violation);
}

TEST_F(MQTTEngineTest, RefusesEveryPacketBeforeConnack) {
    for (const std::string_view hex :
         {"30 03 0001 61", "32 05 0001 61 0001", "40 02 0001", "90 03 0001 00", "b0 02 0001", "d0 00"}) {
        makeEngine();
        engine_->start(parameters_);
        input_.clear();
        EXPECT_EQ(feed(hex), MQTTEngineEvent::Violation) << hex;
    }
}

TEST_F(MQTTEngineTest, RefusesConnackBeforeConnectAndASecondOne) {
    EXPECT_EQ(feed("20 02 00 00"), MQTTEngineEvent::Violation);
    input_.clear();
    makeEngine();
    connect();
    EXPECT_EQ(feed("20 02 00 00"), MQTTEngineEvent::Violation);
}

TEST_F(MQTTEngineTest, SaysAViolationAgainAndTakesNothingBehindIt) {
    connect();
    EXPECT_EQ(feed("36 05 0001 61 0001"), MQTTEngineEvent::Violation);
    const std::string fault(engine_->fault());
    EXPECT_NE(fault, "");
    input_.clear();
    EXPECT_EQ(feed("32 05 0001 61 0001"), MQTTEngineEvent::Violation);
    EXPECT_EQ(engine_->fault(), fault);
    EXPECT_EQ(input_.size(), 7U);
}

TEST_F(MQTTEngineTest, SubscribesInTheOrderOfTheTableAndMatchesTheAnswer) {
    connect();
    EXPECT_EQ(engine_->subscribe({{"b", 1}, {"a", 0}}, SubscribePurpose::Owner, refused_), 1);
    EXPECT_EQ(takeOutput(),
              "820a0001"
              "00016201"
              "00016100");
    EXPECT_EQ(feed("90 04 0001 01 80"), MQTTEngineEvent::Subscribed);
    EXPECT_EQ(packet_.packetId, 1);
    EXPECT_EQ(answeredCodes(), (Codes{1, 0x80}));
    EXPECT_EQ(ids_->countInUse(), 0U);
}

TEST_F(MQTTEngineTest, BringsQualitiesOfServiceIntoRange) {
    connect();
    engine_->subscribe({{"a", 2}, {"b", -1}, {"c", 7}}, SubscribePurpose::Owner, refused_);
    EXPECT_EQ(takeOutput(),
              "820e0001"
              "00016101"
              "00016200"
              "00016301");
}

TEST_F(MQTTEngineTest, LeavesOutWhatCannotBeSentAndTellsIt) {
    connect();
    EXPECT_EQ(engine_->subscribe({{"a/#/b", 1}, {"good", 1}, {"", 0}}, SubscribePurpose::Owner, refused_), 1);
    EXPECT_EQ(takeOutput(),
              "82090001"
              "0004676f6f64"
              "01");
    EXPECT_EQ(feed("90 03 0001 00"), MQTTEngineEvent::Subscribed);
    EXPECT_EQ(answeredCodes(), (Codes{0}));
    EXPECT_EQ(refusedTopics(), (std::vector<std::string>{"a/#/b", ""}));
    EXPECT_EQ(engine_->subscribe({{"+a", 1}}, SubscribePurpose::Owner, refused_), 0);
    EXPECT_EQ(engine_->subscribe({}, SubscribePurpose::Owner, refused_), 0);
    EXPECT_EQ(takeOutput(), "");
}

TEST_F(MQTTEngineTest, RefusesASubackOfAnotherLength) {
    for (const std::string_view hex : {"90 03 0001 01", "90 05 0001 01 01 01"}) {
        input_.clear();
        ids_ = std::make_shared<PacketIds>();
        makeEngine();
        connect();
        engine_->subscribe({{"a", 1}, {"b", 1}}, SubscribePurpose::Owner, refused_);
        EXPECT_EQ(feed(hex), MQTTEngineEvent::Violation) << hex;
    }
}

TEST_F(MQTTEngineTest, RefusesAnswersToWhatWasNotAsked) {
    const std::vector<std::string_view> answers{"90 03 0003 01", "b0 02 0003", "b0 02 0001", "90 03 0002 01",
                                                "d0 00"};
    for (const std::string_view hex : answers) {
        input_.clear();
        ids_ = std::make_shared<PacketIds>();
        makeEngine();
        connect();
        ASSERT_EQ(engine_->subscribe({{"a", 1}}, SubscribePurpose::Owner, refused_), 1);
        ASSERT_EQ(engine_->unsubscribe(std::vector<std::string_view>{"b"}, refused_), 2);
        EXPECT_EQ(feed(hex), MQTTEngineEvent::Violation) << hex;
    }
}

TEST_F(MQTTEngineTest, RefusesASecondAnswer) {
    connect();
    engine_->subscribe({{"a", 1}}, SubscribePurpose::Owner, refused_);
    EXPECT_EQ(feed("90 03 0001 01"), MQTTEngineEvent::Subscribed);
    EXPECT_EQ(feed("90 03 0001 01"), MQTTEngineEvent::Violation);
}

TEST_F(MQTTEngineTest, UnsubscribesAndMatchesTheAnswer) {
    connect();
    EXPECT_EQ(engine_->unsubscribe(std::vector<std::string_view>{"a", "b/#", "#x"}, refused_), 1);
    EXPECT_EQ(takeOutput(),
              "a20a0001"
              "000161"
              "0003622f23");
    EXPECT_EQ(feed("b0 02 0001"), MQTTEngineEvent::Unsubscribed);
    EXPECT_EQ(packet_.packetId, 1);
    EXPECT_EQ(ids_->countInUse(), 0U);
}

TEST_F(MQTTEngineTest, RemembersWhatWasUnsubscribedBeforeItsGrantCame) {
    connect();
    engine_->subscribe({{"a", 1}, {"b", 1}}, SubscribePurpose::Owner, refused_);
    engine_->unsubscribe(std::vector<std::string_view>{"a"}, refused_);
    EXPECT_EQ(feed("90 04 0001 01 01"), MQTTEngineEvent::Subscribed);
    EXPECT_TRUE(engine_->answeredSubscribe().topics[0].wasUnsubscribed);
    EXPECT_FALSE(engine_->answeredSubscribe().topics[1].wasUnsubscribed);
}

TEST_F(MQTTEngineTest, FreesTheIdentifiersOfUnansweredRequestsAtItsEnd) {
    connect();
    engine_->subscribe({{"a", 1}}, SubscribePurpose::Owner, refused_);
    engine_->unsubscribe(std::vector<std::string_view>{"a"}, refused_);
    EXPECT_EQ(ids_->countInUse(), 2U);
    engine_.reset();
    EXPECT_EQ(ids_->countInUse(), 0U);
}

TEST_F(MQTTEngineTest, TellsAnswersToPublicationsAlsoToUnknownOnes) {
    connect();
    EXPECT_EQ(feed("40 02 0102"), MQTTEngineEvent::PublicationAcknowledged);
    EXPECT_EQ(packet_.packetId, 0x0102);
}

TEST_F(MQTTEngineTest, PingsByTheKeepAliveAndWaitsForTheAnswer) {
    connect();
    EXPECT_EQ(engine_->checkDeadlines(kStart + 179s, false), ConnectionDeadlines::Due::Nothing);
    EXPECT_EQ(takeOutput(), "");
    EXPECT_EQ(engine_->checkDeadlines(kStart + 180s, false), ConnectionDeadlines::Due::PingRequest);
    EXPECT_EQ(takeOutput(), "c000");
    EXPECT_EQ(feed("d0 00"), MQTTEngineEvent::NeedMore);
    EXPECT_EQ(engine_->nextDeadline(), kStart + 180s);
    EXPECT_EQ(feed("d0 00"), MQTTEngineEvent::Violation) << "a PINGRESP too many";
}

TEST_F(MQTTEngineTest, KeepsTheKeepAliveThatItCouldSay) {
    parameters_.keepAlive = 100'000s;
    makeEngine();
    connect();
    EXPECT_EQ(engine_->nextDeadline(), kStart + 65'535s);
}

TEST_F(MQTTEngineTest, ReadsOnBehindAnAnsweredPing) {
    connect();
    static_cast<void>(engine_->checkDeadlines(kStart + 180s, false));
    EXPECT_EQ(feed("d0 00 32 05 0001 61 0009"), MQTTEngineEvent::Publication);
    EXPECT_EQ(packet_.packetId, 9);
}

}  // namespace
}  // namespace xel
