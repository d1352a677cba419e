// Name servers that fail, lie or say nothing, in a network of the test's own, until they answer as they
// should.

#include <chrono>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/contract/Network/FakeNameServer.h"
#include "tests/contract/Network/NetworkNamespace.h"
#include "tests/contract/Store/MountNamespace.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/ScriptedBroker.h"

namespace xel::matrix {
namespace {

using namespace std::chrono_literals;
using contract::FakeNameServer;
using contract::MountNamespace;
using contract::NameReply;
using contract::NetworkNamespace;
using contract::networkRefusalText;

struct NameRow {
    const char* name;
    NameReply reply;
    const char* words;
};

void lookUpAndHeal(const NameRow& row, FakeNameServer& server) {
    auto loop = std::make_shared<AsioRunLoop>();
    const ScriptedBroker broker(loop->ioContext(), {});
    MatrixClientOptions options;
    options.host = "push.example";
    options.port = broker.port();
    options.loop = loop;
    options.session.connectDeadline = 500ms;
    MatrixClient client(options);
    server.setReply(row.reply);
    client.connect();
    ASSERT_TRUE(client.runUntilError());
    EXPECT_NE(client.failureText().find(row.words), std::string::npos) << client.failureText();
    EXPECT_NE(client.failureText().find("push.example"), std::string::npos) << client.failureText();
    EXPECT_TRUE(client.push().publish("news", "kept"));
    server.setReply(NameReply::Right);
    EXPECT_TRUE(client.healUntil([&] {
        return client.isConnected() && broker.packetCount(FakeBrokerPacketType::Publish) == 1;
    })) << client.failureText();
}

class NameServerFault : public testing::TestWithParam<NameRow> {};

TEST_P(NameServerFault, IsAnErrorThatNamesTheHostAndHeals) {
    const contract::TemporaryFolder folder;
    const std::string settings = folder.path() + "/resolv.conf";
    std::ofstream(settings) << "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n";
    IN_A_NETWORK_OF_ITS_OWN([&] {
        contract::ip("link set lo up");
        FakeNameServer server;
        const int unmounted = MountNamespace::run([&] {
            contract::putInPlaceOf("/etc/resolv.conf", settings);
            lookUpAndHeal(GetParam(), server);
        });
        EXPECT_EQ(unmounted, 0) << "a mount namespace is not permitted";
    });
}

constexpr const char* kNotFound = "the look-up of the host's name failed";
constexpr const char* kNoAnswer = "has not been answered";
constexpr NameRow kNames[] = {
    {"Silence", NameReply::Silence, kNoAnswer},
    {"FormatError", NameReply::FormatError, kNotFound},
    {"ServerFailure", NameReply::ServerFailure, kNotFound},
    {"NoSuchName", NameReply::NoSuchName, kNotFound},
    {"NotImplemented", NameReply::NotImplemented, kNotFound},
    {"Refused", NameReply::Refused, kNotFound},
    {"NoAddress", NameReply::NoAddress, kNotFound},
    {"Garbage", NameReply::Garbage, kNoAnswer},
    {"HalfAHeader", NameReply::HalfAHeader, kNotFound},
    {"OtherId", NameReply::OtherId, kNoAnswer},
    {"OtherName", NameReply::OtherName, kNoAnswer},
    {"Truncated", NameReply::Truncated, kNotFound},
    {"CircleOfNames", NameReply::CircleOfNames, kNotFound},
    {"Endless", NameReply::Endless, kNotFound},
};
INSTANTIATE_TEST_SUITE_P(OnTheRoadToTheBroker, NameServerFault, testing::ValuesIn(kNames),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace xel::matrix
