// Connections to a real broker that are cut at any octet, by a proxy between.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tests/contract/Stream/TestCertificates.h"
#include "tests/matrix/support/Correspondent.h"
#include "tests/matrix/support/CuttingProxy.h"
#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/RealBroker.h"

namespace xel::matrix {
namespace {

using namespace std::chrono_literals;

constexpr bool kPlain = false;
constexpr bool kTLS = true;

/// A client whose way to the broker leads through the proxy, and a correspondent whose way does not.
class BehindProxy {
public:
    explicit BehindProxy(bool usingTLS, MQTTSessionOptions session = {}) {
        std::ofstream(caFile_) << authority_.certificate();
        RealBroker::Options options;
        if (usingTLS) {
            options.certificate = {authority_.issue()};
        }
        broker_ = std::make_unique<RealBroker>(options);
        proxy_ = std::make_unique<CuttingProxy>(broker_->port());
        correspondent_ = std::make_unique<Correspondent>(broker_->port(), usingTLS ? caFile_ : "");
        MatrixClientOptions client;
        client.port = proxy_->port();
        client.host = "localhost";
        client.usingTLS = usingTLS;
        client.caFile = caFile_;
        client.session = session;
        client_ = std::make_unique<MatrixClient>(client);
        client_->connect();
        // Once this topic is granted the broker has those that were asked for before.
        client_->push().subscribe("ready");
        EXPECT_TRUE(client_->runUntil([this] { return !client_->subscribed.empty(); }))
            << client_->failureText();
        EXPECT_TRUE(exchange("first"));
    }

    /// Something of everything in one connection: a publication each way and a topic. True when all
    /// have arrived.
    [[nodiscard]] bool exchange(const std::string& name) {
        begin(name);
        return finish(name);
    }

    void begin(const std::string& name) {
        EXPECT_TRUE(client_->push().publish("news", "from-" + name)) << "it was answered YES";
        client_->push().subscribe("channel-" + name);
        correspondent_->send("to-" + name);
    }

    [[nodiscard]] bool hasArrived(const std::string& name) {
        return client_->countOf("to-" + name) > 0 && correspondent_->has("from-" + name) &&
               std::count(client_->subscribed.begin(), client_->subscribed.end(), "channel-" + name) > 0;
    }

    [[nodiscard]] bool finish(const std::string& name) {
        const bool hasAll = client_->healUntil([&] { return client_->isConnected() && hasArrived(name); });
        EXPECT_EQ(client_->countOf("to-" + name), 1U) << "once, although it may have come twice";
        client_->push().unsubscribe("channel-" + name);
        return hasAll;
    }

    void closeInOrder() {
        client_->push().disconnectFromServer();
        EXPECT_TRUE(client_->runUntil([this] { return client_->states.back() == "Disconnected"; }));
    }

    /// How many octets pass in a connection with such an exchange.
    [[nodiscard]] CuttingProxy::Passed lengthOfExchange() {
        closeInOrder();
        begin("whole");
        client_->push().connectToServer();
        EXPECT_TRUE(finish("whole"));
        return proxy_->passed();
    }

    void expectToHealCutAt(std::size_t octet, Direction direction, CutBy by) {
        std::string name = std::to_string(octet);
        name.insert(0, 5 - name.size(), '0');
        closeInOrder();
        begin(name);
        proxy_->cutNext(CuttingProxy::Cut{direction, octet, by});
        client_->push().connectToServer();
        EXPECT_TRUE(finish(name)) << "cut at octet " << octet << ": " << client_->failureText();
        proxy_->cutNext(std::nullopt);
    }

    CuttingProxy& proxy() { return *proxy_; }
    MatrixClient& client() { return *client_; }
    RealBroker& broker() { return *broker_; }

private:
    contract::TestAuthority authority_;
    contract::TemporaryFolder folder_;
    std::string caFile_ = folder_.path() + "/ca.pem";
    std::unique_ptr<RealBroker> broker_;
    std::unique_ptr<CuttingProxy> proxy_;
    std::unique_ptr<Correspondent> correspondent_;
    std::unique_ptr<MatrixClient> client_;
};

struct CutRow {
    const char* name;
    bool usingTLS;
    Direction direction;
    CutBy by;
    std::size_t step;  // octets between two cuts
};

class ConnectionCut : public testing::TestWithParam<CutRow> {};

TEST_P(ConnectionCut, LosesNothingAndHeals) {
    const CutRow& row = GetParam();
    BehindProxy road(row.usingTLS);
    const auto length = road.lengthOfExchange();
    const std::size_t end = row.direction == Direction::ToBroker ? length.toBroker : length.toClient;
    ASSERT_GT(end, row.step);
    std::size_t tried = 0;
    for (std::size_t octet = 0; octet < end; octet += row.step, ++tried) {
        road.expectToHealCutAt(octet, row.direction, row.by);
    }
    EXPECT_GE(road.proxy().cuts(), tried - 1) << "the last octets may not have come to pass";
}

constexpr CutRow kCuts[] = {
    {"PlainFinToBroker", kPlain, Direction::ToBroker, CutBy::Fin, 23},
    {"PlainFinToClient", kPlain, Direction::ToClient, CutBy::Fin, 11},
    {"PlainResetToBroker", kPlain, Direction::ToBroker, CutBy::Reset, 23},
    {"PlainResetToClient", kPlain, Direction::ToClient, CutBy::Reset, 11},
    {"TLSFinToBroker", kTLS, Direction::ToBroker, CutBy::Fin, 97},
    {"TLSFinToClient", kTLS, Direction::ToClient, CutBy::Fin, 211},
    {"TLSResetToBroker", kTLS, Direction::ToBroker, CutBy::Reset, 97},
    {"TLSResetToClient", kTLS, Direction::ToClient, CutBy::Reset, 211},
};
constexpr CutRow kCutsAtEachOctet[] = {
    {"PlainFinToBroker", kPlain, Direction::ToBroker, CutBy::Fin, 1},
    {"PlainFinToClient", kPlain, Direction::ToClient, CutBy::Fin, 1},
    {"PlainResetToBroker", kPlain, Direction::ToBroker, CutBy::Reset, 1},
    {"PlainResetToClient", kPlain, Direction::ToClient, CutBy::Reset, 1},
    {"TLSFinToBroker", kTLS, Direction::ToBroker, CutBy::Fin, 1},
    {"TLSFinToClient", kTLS, Direction::ToClient, CutBy::Fin, 1},
    {"TLSResetToBroker", kTLS, Direction::ToBroker, CutBy::Reset, 1},
    {"TLSResetToClient", kTLS, Direction::ToClient, CutBy::Reset, 1},
};
INSTANTIATE_TEST_SUITE_P(AtSomeOctets, ConnectionCut, testing::ValuesIn(kCuts),
                         [](const auto& row) { return std::string(row.param.name); });
INSTANTIATE_TEST_SUITE_P(LongAtEachOctet, ConnectionCut, testing::ValuesIn(kCutsAtEachOctet),
                         [](const auto& row) { return std::string(row.param.name); });

// A road that goes dead without a word. The deadlines of the session are the patience of the client,
// cut short.
class ConnectionSilence : public testing::TestWithParam<CutRow> {};

TEST_P(ConnectionSilence, IsNoticedAndHeals) {
    const CutRow& row = GetParam();
    BehindProxy road(row.usingTLS,
                     {.connectDeadline = 400ms, .pingResponseDeadline = 100ms, .longestSilence = 100ms});
    const auto length = road.lengthOfExchange();
    const std::size_t end = row.direction == Direction::ToBroker ? length.toBroker : length.toClient;
    for (std::size_t octet = 0; octet < end; octet += row.step) {
        road.expectToHealCutAt(octet, row.direction, row.by);
    }
}

constexpr CutRow kSilences[] = {
    {"PlainToBroker", kPlain, Direction::ToBroker, CutBy::Silence, 149},
    {"PlainToClient", kPlain, Direction::ToClient, CutBy::Silence, 53},
    {"TLSToBroker", kTLS, Direction::ToBroker, CutBy::Silence, 397},
    {"TLSToClient", kTLS, Direction::ToClient, CutBy::Silence, 797},
};
constexpr CutRow kLongSilences[] = {
    {"PlainToBroker", kPlain, Direction::ToBroker, CutBy::Silence, 5},
    {"PlainToClient", kPlain, Direction::ToClient, CutBy::Silence, 3},
    {"TLSToBroker", kTLS, Direction::ToBroker, CutBy::Silence, 29},
    {"TLSToClient", kTLS, Direction::ToClient, CutBy::Silence, 61},
};
INSTANTIATE_TEST_SUITE_P(AtSomeOctets, ConnectionSilence, testing::ValuesIn(kSilences),
                         [](const auto& row) { return std::string(row.param.name); });
INSTANTIATE_TEST_SUITE_P(LongAtManyOctets, ConnectionSilence, testing::ValuesIn(kLongSilences),
                         [](const auto& row) { return std::string(row.param.name); });

class SingleOctets : public testing::TestWithParam<bool> {};

TEST_P(SingleOctets, ArriveAsWholePackets) {
    BehindProxy road(GetParam());
    road.closeInOrder();
    road.proxy().setSingleOctets(true);
    road.client().push().connectToServer();
    EXPECT_TRUE(road.exchange("single"));
    EXPECT_EQ(road.client().failureText(), "");
}

INSTANTIATE_TEST_SUITE_P(EachWay, SingleOctets, testing::Bool(),
                         [](const auto& row) { return row.param ? "TLS" : "Plain"; });

// What TLS finds in a record that somebody has changed on the way.
class FlippedOctet : public testing::TestWithParam<CutRow> {};

TEST_P(FlippedOctet, IsFoundByTLSAndHeals) {
    const CutRow& row = GetParam();
    // In a record's header it may announce octets that never come.
    BehindProxy road(kTLS,
                     {.connectDeadline = 700ms, .pingResponseDeadline = 200ms, .longestSilence = 200ms});
    const auto length = road.lengthOfExchange();
    const std::size_t end = row.direction == Direction::ToBroker ? length.toBroker : length.toClient;
    for (std::size_t octet = 0; octet < end; octet += row.step) {
        const std::string name = "flip-" + std::to_string(octet);
        road.closeInOrder();
        road.begin(name);
        road.proxy().flipNext(row.direction, octet);
        road.client().push().connectToServer();
        EXPECT_TRUE(road.finish(name)) << octet << ": " << road.client().failureText();
    }
    EXPECT_NE(road.client().failureText(), "") << "no octet was noticed";
}

constexpr CutRow kFlips[] = {
    {"ToBroker", kTLS, Direction::ToBroker, CutBy::Fin, 149},
    {"ToClient", kTLS, Direction::ToClient, CutBy::Fin, 307},
};
constexpr CutRow kLongFlips[] = {
    {"ToBroker", kTLS, Direction::ToBroker, CutBy::Fin, 7},
    {"ToClient", kTLS, Direction::ToClient, CutBy::Fin, 13},
};
INSTANTIATE_TEST_SUITE_P(AtSomeOctets, FlippedOctet, testing::ValuesIn(kFlips),
                         [](const auto& row) { return std::string(row.param.name); });
INSTANTIATE_TEST_SUITE_P(LongAtManyOctets, FlippedOctet, testing::ValuesIn(kLongFlips),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FlappingRoad, LosesNothingWhenItEndsAgainAndAgain) {
    BehindProxy road(kPlain);
    for (int i = 0; i < 20; ++i) {
        const std::string name = "flap-" + std::to_string(i);
        road.begin(name);
        road.proxy().dropAll();
        EXPECT_TRUE(road.finish(name)) << road.client().failureText();
    }
}

}  // namespace
}  // namespace xel::matrix
