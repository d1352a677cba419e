// The whole road of a message to a host that does not run: the local push service, the distributor, the bus,
// the host, and the desktop's notification server.

#include <csignal>
#include <map>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "sandbox/push/PushToken.h"
#include "tests/integration/desktop/support/ActivatableHost.h"
#include "tests/integration/desktop/support/DistributorCommand.h"
#include "tests/integration/desktop/support/MockNotificationServer.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::test {
namespace {

using sandbox::Json;
using sandbox::SandboxInfo;
using sandbox::SandboxOptions;
using sandbox::test::askRest;
using sandbox::test::RunningSandbox;

constexpr const char* kHost = "org.example.Shop";

SandboxOptions talkative() {
    SandboxOptions options;
    options.verbose = true;
    return options;
}

class WakeUpTest : public testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
#ifndef XELPUSH_EXAMPLES_PATH
        GTEST_SKIP() << "the examples were not built (XELPUSH_BUILD_EXAMPLES)";
#else
        bus_ = std::make_unique<PrivateBus>();
        const SandboxInfo& info = service_.info();
        host_ = std::make_unique<ActivatableHost>(
            *bus_, kHost, XELPUSH_EXAMPLES_PATH "/activatable_host",
            std::map<std::string, std::string>{
                {"XELPUSH_APP_ID", info.appId},
                {"XELPUSH_API_KEY", info.apiKey},
                {"XELPUSH_BROKER_USER", info.brokerUser},
                {"XELPUSH_BROKER_PASSWORD", info.brokerPassword},
                {"XELPUSH_LOCAL_BROKER_ADDRESS", "localhost"},
                {"XELPUSH_LOCAL_BROKER_PORT", std::to_string(info.mqttPort)},
                {"XELPUSH_LOCAL_BROKER_SSL_PORT", std::to_string(info.mqttTlsPort)},
                {"XELPUSH_LOCAL_REST_SSL_URL", info.restUrl},
                {"XELPUSH_CA_FILE", info.caFile.string()}});
        screen_ = std::make_unique<MockNotificationServer>(bus_->address());
        distributor_ = std::make_unique<DistributorCommand>(bus_->address());
#endif
    }

    void send(const std::string& id, const std::string& text) {
        EXPECT_EQ(askRest(service_.info(), "POST", "sandbox/messages",
                          Json{{"user", "alice01"}, {"channel", "orders"}, {"id", id}, {"body", text}})
                      .status,
                  200U);
    }
    [[nodiscard]] bool isShown(const std::string& text) const {
        for (const auto& notify : screen_->notifies()) {
            if (notify.body == text) {
                return true;
            }
        }
        return false;
    }
    /// The host's installation has a push token, which the distributor gave it.
    [[nodiscard]] bool hasToken() {
        const Json all = askRest(service_.info(), "GET", "sandbox/installations").body["installations"];
        for (const Json& installation : all) {
            const Json record =
                askRest(service_.info(), "GET", "installations/" + installation["id"].get<std::string>())
                    .body;
            if (sandbox::parsePushToken(record.value("deviceToken", ""))) {
                return true;
            }
        }
        return false;
    }

    RunningSandbox service_{talkative()};
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<MockNotificationServer> screen_;
    std::unique_ptr<DistributorCommand> distributor_;
    std::unique_ptr<ActivatableHost> host_;
};

TEST_F(WakeUpTest, AHostThatDoesNotRunShowsTheMessage) {
    {
        // Its first start registers it everywhere. It shows what it gets while it runs.
        TestProgram byHand(host_->command(), host_->in("log"));
        ASSERT_TRUE(eventually([&] { return hasToken(); })) << host_->errors();
        int count = 0;
        ASSERT_TRUE(eventually([&] {
            send("early-" + std::to_string(++count), "while you are here");
            return isShown("while you are here");
        })) << host_->errors();
        ::kill(byHand.pid(), SIGKILL);
        ASSERT_TRUE(eventually([&] { return !byHand.isRunning(); }));
    }
    const pid_t first = host_->pid();
    ASSERT_TRUE(eventually([&] { return service_.log.tellsOfALostClient(); }))
        << testing::PrintToString(service_.log.lines());

    send("m1", "while you are away");
    EXPECT_TRUE(eventually([&] { return isShown("while you are away"); }))
        << distributor_->output() << host_->errors();
    EXPECT_NE(host_->pid(), first);
    EXPECT_TRUE(eventually([&] { return service_.log.contains("of message m1: sent"); }));
    EXPECT_TRUE(distributor_->logs("a message handed to org.example.Shop"));
    // The host prints the push message itself, too.
    EXPECT_TRUE(eventually([&] {
        const std::string printed = host_->output();
        return printed.find(R"("body":"while you are away")") != std::string::npos &&
               printed.find(R"("id":"m1")") != std::string::npos;
    })) << host_->output();
}

}  // namespace
}  // namespace xel::test
