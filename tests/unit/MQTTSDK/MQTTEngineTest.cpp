#include <functional>
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

    std::uint16_t subscribe(const TopicTable& topics, SubscribePurpose purpose = SubscribePurpose::Single) {
        SubscribeRequest request{purpose, {}};
        for (const auto& [filter, qos] : topics) {
            request.topics.push_back({filter, qos});
        }
        const std::uint16_t packetId = engine_->addSubscribe(std::move(request));
        EXPECT_TRUE(engine_->writeSubscribe(packetId, superseded_));
        return packetId;
    }

    std::uint16_t unsubscribe(std::vector<std::string> filters) {
        engine_->requests().noteUnsubscribed(std::vector<std::string_view>(filters.begin(), filters.end()));
        const std::uint16_t packetId = engine_->addUnsubscribe({std::move(filters)});
        EXPECT_TRUE(engine_->writeUnsubscribe(packetId));
        return packetId;
    }

    MQTTSessionParameters parameters_;
    MQTTSessionOptions options_;
    std::shared_ptr<PacketIds> ids_ = std::make_shared<PacketIds>();
    std::unique_ptr<MQTTEngine> engine_;
    std::string input_;
    MQTTInboundPacket packet_;
    std::vector<std::uint16_t> superseded_;
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
    EXPECT_EQ(subscribe({{"b", 1}, {"a", 0}}), 1);
    EXPECT_EQ(takeOutput(),
              "820a0001"
              "00016201"
              "00016100");
    EXPECT_EQ(feed("90 04 0001 01 80"), MQTTEngineEvent::Subscribed);
    EXPECT_EQ(packet_.packetId, 1);
    EXPECT_EQ(answeredCodes(), (Codes{1, 0x80}));
    EXPECT_EQ(ids_->countInUse(), 0U);
}

TEST_F(MQTTEngineTest, WritesOfBatchesInOnePassOnlyThoseThatNoLaterOneContains) {
    connect();
    EXPECT_EQ(subscribe({{"a", 1}}, SubscribePurpose::Batch), 1);
    EXPECT_EQ(subscribe({{"x", 1}}, SubscribePurpose::Batch), 2);
    EXPECT_EQ(subscribe({{"b", 1}, {"a", 1}}, SubscribePurpose::Batch), 3);
    EXPECT_EQ(superseded_, std::vector<std::uint16_t>{1});
    EXPECT_EQ(takeOutput(),
              "82060002"
              "00017801"
              "820a0003"
              "00016201"
              "00016101");
    EXPECT_EQ(ids_->countInUse(), 2U);
    EXPECT_EQ(feed("90 03 0001 01"), MQTTEngineEvent::Violation) << "no answer is owed to what did not leave";
}

TEST_F(MQTTEngineTest, WritesABatchThatALaterOneDoesNotReplace) {
    const auto isReplaced = [this](const std::function<void()>& between, const TopicTable& later) {
        input_.clear();
        ids_ = std::make_shared<PacketIds>();
        superseded_.clear();
        makeEngine();
        connect();
        subscribe({{"a", 1}}, SubscribePurpose::Batch);
        between();
        subscribe(later, SubscribePurpose::Batch);
        return !superseded_.empty();
    };
    EXPECT_TRUE(isReplaced([] {}, {{"a", 1}, {"b", 1}}));
    EXPECT_FALSE(isReplaced([] {}, {{"a", 0}, {"b", 1}})) << "at another level";
    EXPECT_TRUE(isReplaced([] {}, {{"b", 1}, {"a", 1}})) << "at another place";
    EXPECT_FALSE(isReplaced([] {}, {{"b", 1}, {"a", 0}}));
    EXPECT_FALSE(isReplaced([] {}, {{"b", 1}}));
    EXPECT_FALSE(isReplaced([this] { takeOutput(); }, {{"a", 1}})) << "it has left";
    EXPECT_FALSE(isReplaced([this] { subscribe({{"e", 1}}); }, {{"a", 1}})) << "not a batch between";
    EXPECT_FALSE(isReplaced([this] { unsubscribe({"a"}); }, {{"a", 1}}));
    EXPECT_FALSE(isReplaced([this] { engine_->publishAtMostOnce("t", "x", false); }, {{"a", 1}}));
}

TEST_F(MQTTEngineTest, TellsUpToWhichPlaceTheBrokerHasRead) {
    connect();
    const auto begin = engine_->place();
    subscribe({{"a", 1}});
    engine_->acknowledge(std::vector<std::uint16_t>{7});
    const auto behind = engine_->place();
    unsubscribe({"a"});
    takeOutput();
    EXPECT_EQ(feed("90 03 0001 01"), MQTTEngineEvent::Subscribed);
    EXPECT_EQ(engine_->answeredPlace(), begin);
    EXPECT_EQ(feed("b0 02 0002"), MQTTEngineEvent::Unsubscribed);
    EXPECT_EQ(engine_->answeredPlace(), behind);
    EXPECT_EQ(engine_->checkDeadlines(kStart + 180s, false), ConnectionDeadlines::Due::PingRequest);
    const auto ping = engine_->place() - 2;
    EXPECT_EQ(feed("d0 00"), MQTTEngineEvent::NeedMore);
    EXPECT_EQ(engine_->answeredPlace(), ping);
}

TEST_F(MQTTEngineTest, RefusesASubackOfAnotherLength) {
    for (const std::string_view hex : {"90 03 0001 01", "90 05 0001 01 01 01"}) {
        input_.clear();
        ids_ = std::make_shared<PacketIds>();
        makeEngine();
        connect();
        subscribe({{"a", 1}, {"b", 1}});
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
        ASSERT_EQ(subscribe({{"a", 1}}), 1);
        ASSERT_EQ(unsubscribe({"b"}), 2);
        EXPECT_EQ(feed(hex), MQTTEngineEvent::Violation) << hex;
    }
}

TEST_F(MQTTEngineTest, RefusesASecondAnswer) {
    connect();
    subscribe({{"a", 1}});
    EXPECT_EQ(feed("90 03 0001 01"), MQTTEngineEvent::Subscribed);
    EXPECT_EQ(feed("90 03 0001 01"), MQTTEngineEvent::Violation);
}

TEST_F(MQTTEngineTest, UnsubscribesAndMatchesTheAnswer) {
    connect();
    EXPECT_EQ(unsubscribe({"a", "b/#"}), 1);
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
    subscribe({{"a", 1}, {"b", 1}});
    unsubscribe({"a"});
    EXPECT_EQ(feed("90 04 0001 01 01"), MQTTEngineEvent::Subscribed);
    EXPECT_TRUE(engine_->answeredSubscribe().topics[0].wasUnsubscribed);
    EXPECT_FALSE(engine_->answeredSubscribe().topics[1].wasUnsubscribed);
}

TEST_F(MQTTEngineTest, FreesTheIdentifiersOfUnansweredRequestsAtItsEnd) {
    connect();
    subscribe({{"a", 1}});
    unsubscribe({"a"});
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
