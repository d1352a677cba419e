// What can befall one process that speaks for many devices, their homes in one store, with a broker of
// another make.

#include <algorithm>
#include <cstddef>
#include <map>
#include <numeric>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/contract/Process/ChildOfTest.h"
#include "tests/contract/Process/NoDescriptors.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/matrix/support/Correspondent.h"
#include "tests/matrix/support/KilledGateway.h"
#include "tests/matrix/support/MatrixGateway.h"
#include "tests/matrix/support/RealBroker.h"

namespace xel::matrix {
namespace {

using contract::resultOfChild;

/// Lets this process open so many descriptors more.
void allowFurtherDescriptors(std::size_t more) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(lowest);
    limit.rlim_cur = static_cast<rlim_t>(lowest) + more;
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// The messages of each client, in the order in which they came.
using Inboxes = std::map<std::size_t, std::vector<std::string>>;

class GatewayFault : public testing::Test {
protected:
    contract::TemporaryFolder folder_;
    // All that the clients say waits for whoever looks later.
    RealBroker broker_{{.lines = {"max_queued_messages 0"}}};
};

void clientsTooManyForTheLimit(std::uint16_t port, const std::string& folder) {
    constexpr std::size_t kClients = 30;
    constexpr std::size_t kDescriptors = 12;
    Correspondent correspondent(port);
    Inboxes inboxes;
    MatrixGateway gateway({.port = port,
                           .folder = folder,
                           .clients = kClients,
                           .didReceive = [&](std::size_t number, const std::string& text) {
                               inboxes[number].push_back(text);
                           }});
    allowFurtherDescriptors(kDescriptors);
    gateway.connectAll();
    const auto isSettled = [&] {
        for (std::size_t number = 0; number < kClients; ++number) {
            if (!gateway.isConnected(number) && !gateway.isInError(number)) {
                return false;
            }
        }
        return true;
    };
    ASSERT_TRUE(runUntil(gateway.loop(), isSettled)) << "each has its connection, or is told";
    const auto connected = gateway.connected();
    EXPECT_GE(connected.size(), kDescriptors / 2);
    EXPECT_LE(connected.size(), kDescriptors);
    for (std::size_t number = 0; number < kClients; ++number) {
        if (gateway.isInError(number)) {
            EXPECT_NE(gateway.push(number).failureError()->localizedDescription().find(
                          "descriptors open (RLIMIT_NOFILE)"),
                      std::string::npos)
                << gateway.push(number).failureError()->localizedDescription();
        }
    }

    // More than what the journal holds before it goes on in its other file.
    const std::string large(250'000, 'x');
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(gateway.push(connected.front()).publish("news", large));
    }
    for (const std::size_t number : connected) {
        EXPECT_TRUE(gateway.push(number).publish("news", "from " + std::to_string(number)));
        correspondent.send("at the limit", MatrixGateway::nameOf(number));
    }
    EXPECT_TRUE(runUntil(gateway.loop(), [&] {
        return std::all_of(connected.begin(), connected.end(), [&](std::size_t number) {
            return inboxes[number].size() == 1 && correspondent.has("from " + std::to_string(number));
        });
    })) << "those that are connected live on";
    EXPECT_EQ(gateway.connected(), connected);

    allowFurtherDescriptors(2 * kClients);
    EXPECT_TRUE(runUntil(gateway.loop(), [&] {
        gateway.connectAgain();
        return gateway.connected().size() == kClients;
    })) << "with more descriptors, all are";
}

TEST_F(GatewayFault, ClientsTooManyForTheLimitOfDescriptorsAreToldAndTheOthersLive) {
    SKIP_WHERE_A_SANITIZER_NEEDS_DESCRIPTORS();
    EXPECT_EQ(resultOfChild([&] {
                  clientsTooManyForTheLimit(broker_.port(), folder_.path());
                  return HasFailure() ? 1 : 0;
              }),
              0);
}

/// Messages for all of its clients, each time cut short by SIGKILL when so many have theirs.
void expectNothingLost(KilledGateway& gateway, const std::vector<std::size_t>& killedAfter) {
    for (const std::size_t received : killedAfter) {
        ASSERT_NO_FATAL_FAILURE(gateway.liveUntil(received));
    }
    ASSERT_TRUE(gateway.liveInPeace()) << gateway.describeMissing();
    std::vector<std::string> sent;
    for (std::size_t life = 1; life <= killedAfter.size(); ++life) {
        sent.push_back(KilledGateway::textOf(life));
    }
    for (std::size_t number = 0; number < KilledGateway::kClients; ++number) {
        const auto inbox = gateway.inboxOf(number);
        EXPECT_EQ(inbox.firstTimes, sent) << number;
        EXPECT_FALSE(inbox.hasTwiceInALife) << number;
    }
}

TEST_F(GatewayFault, AKillWhileAMessageGoesToAllLosesNothing) {
    KilledGateway gateway(broker_, folder_.path());
    expectNothingLost(gateway, {1, 7, KilledGateway::kClients});
}

TEST_F(GatewayFault, KillsAfterEachNumberOfMessagesLong) {
    KilledGateway gateway(broker_, folder_.path());
    std::vector<std::size_t> killedAfter(KilledGateway::kClients);
    std::iota(killedAfter.begin(), killedAfter.end(), 1);
    expectNothingLost(gateway, killedAfter);
}

TEST_F(GatewayFault, ABrokerThatDiesAndComesBackHasAllOfThemAgainLong) {
    constexpr std::size_t kClients = 150;  // more than may connect at once
    // One that writes sessions down may have a session after its death, and not the topics that it granted
    // last.
    RealBroker broker({.keepsSessions = false});
    Inboxes inboxes;
    MatrixGateway gateway({.port = broker.port(),
                           .folder = folder_.path(),
                           .clients = kClients,
                           .didReceive = [&](std::size_t number, const std::string& text) {
                               inboxes[number].push_back(text);
                           }});
    Correspondent correspondent(broker.port());
    const auto haveAllSaid = [&](const std::string& text) {
        for (std::size_t number = 0; number < kClients; ++number) {
            if (!correspondent.has(text + std::to_string(number))) {
                return false;
            }
        }
        return true;
    };
    const auto sayAll = [&](const std::string& text) {
        for (std::size_t number = 0; number < kClients; ++number) {
            EXPECT_TRUE(gateway.push(number).publish("news", text + std::to_string(number)));
        }
    };
    // What a client says once it is connected comes behind its topics.
    const auto connectAndSay = [&](const std::string& text) {
        ASSERT_TRUE(runUntil(gateway.loop(), [&] { return gateway.connected().size() == kClients; }))
            << "by the clients' own attempts";
        sayAll(text);
        ASSERT_TRUE(runUntil(gateway.loop(), [&] { return haveAllSaid(text); }));
    };
    gateway.connectAll();
    ASSERT_NO_FATAL_FAILURE(connectAndSay("before "));
    broker.kill();
    ASSERT_TRUE(runUntil(gateway.loop(), [&] { return gateway.connected().empty(); }));
    sayAll("meanwhile ");
    broker.start();
    correspondent.comeBack();
    ASSERT_NO_FATAL_FAILURE(connectAndSay("after "));
    EXPECT_TRUE(haveAllSaid("meanwhile "));
    for (std::size_t number = 0; number < kClients; ++number) {
        correspondent.send("back", MatrixGateway::nameOf(number));
    }
    EXPECT_TRUE(runUntil(gateway.loop(), [&] { return inboxes.size() == kClients; }));
}

}  // namespace
}  // namespace xel::matrix
