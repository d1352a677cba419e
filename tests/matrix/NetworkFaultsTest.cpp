// Networks that go away under a connection or in front of one, each in a namespace of its own.

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/contract/Network/NetworkNamespace.h"
#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/ScriptedBroker.h"

namespace xel::matrix {
namespace {

using namespace std::chrono_literals;
using contract::ip;
using contract::NetworkNamespace;
using contract::networkRefusalText;

constexpr const char* kAddress = "10.99.0.1";

/// A broker at an address of the network, and a client. Both are on one machine: the address is an
/// interface's own.
class NetworkWithBroker {
public:
    NetworkWithBroker() {
        ip("link set lo up");
        // Rules of the rows stand before the local table, which is the first one otherwise.
        ip("rule add pref 5 lookup local");
        ip("rule del pref 0");
        ip(std::string("addr add ") + kAddress + "/32 dev lo");
        broker_ = std::make_unique<ScriptedBroker>(loop_->ioContext(), nullptr, kAddress);
        MatrixClientOptions options;
        options.host = kAddress;
        options.port = broker_->port();
        options.loop = loop_;
        options.session = {.connectDeadline = 300ms, .pingResponseDeadline = 100ms, .longestSilence = 100ms};
        client_ = std::make_unique<MatrixClient>(options);
    }

    void expectConnection() {
        client_->connect();
        ASSERT_TRUE(client_->runUntilConnected()) << client_->failureText();
    }
    /// An attempt, or what a publication makes of a connection that is dead.
    void expectError() {
        EXPECT_TRUE(client_->runUntilError());
        EXPECT_NE(client_->failureText(), "");
    }
    void publish() { EXPECT_TRUE(client_->push().publish("news", "kept")); }
    void expectHealing() {
        const std::size_t before = broker_->packetCount(FakeBrokerPacketType::Publish);
        publish();
        EXPECT_TRUE(client_->healUntil([&] {
            return client_->isConnected() && broker_->packetCount(FakeBrokerPacketType::Publish) > before;
        })) << client_->failureText();
    }
    MatrixClient& client() { return *client_; }

private:
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::unique_ptr<ScriptedBroker> broker_;
    std::unique_ptr<MatrixClient> client_;
};

struct NetworkRow {
    const char* name;
    const char* breaks;  // what ip(8) is told
    const char* heals;
};

class NetworkFault : public testing::TestWithParam<NetworkRow> {};

TEST_P(NetworkFault, BeforeAConnectionIsAnErrorAndHeals) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        NetworkWithBroker network;
        ip(GetParam().breaks);
        network.client().connect();
        network.expectError();
        ip(GetParam().heals);
        network.expectHealing();
    });
}

TEST_P(NetworkFault, UnderAConnectionIsNoticedAndHeals) {
    IN_A_NETWORK_OF_ITS_OWN([] {
        NetworkWithBroker network;
        network.expectConnection();
        ip(GetParam().breaks);
        network.publish();
        network.expectError();
        ip(GetParam().heals);
        network.expectHealing();
    });
}

constexpr NetworkRow kNetworks[] = {
    {"LinkDown", "link set lo down", "link set lo up"},
    {"AddressGone", "addr del 10.99.0.1/32 dev lo", "addr add 10.99.0.1/32 dev lo"},
    {"RoutesGone", "rule del pref 5", "rule add pref 5 lookup local"},
    {"BlackHole", "rule add pref 1 to 10.99.0.1 blackhole", "rule del pref 1"},
    {"Unreachable", "rule add pref 1 to 10.99.0.1 unreachable", "rule del pref 1"},
    {"Prohibited", "rule add pref 1 to 10.99.0.1 prohibit", "rule del pref 1"},
};
INSTANTIATE_TEST_SUITE_P(OnALoopback, NetworkFault, testing::ValuesIn(kNetworks),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace xel::matrix
