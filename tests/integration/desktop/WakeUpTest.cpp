// The whole road of a message to a host that does not run: the local push service, the distributor, the bus,
// the host, and the desktop's notification server.

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "sandbox/push/PushToken.h"
#include "tests/integration/SandboxSupport.h"
#include "tests/integration/desktop/DistributorCommand.h"
#include "tests/integration/desktop/MockNotificationServer.h"
#include "tests/integration/desktop/PrivateBus.h"

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

std::string contents(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
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
        writeScript(XELPUSH_EXAMPLES_PATH "/activatable_host");
        bus_->stop();
        bus_->addService(kHost, "/bin/sh " + script());
        bus_->start();
        screen_ = std::make_unique<MockNotificationServer>(bus_->address());
        distributor_ = std::make_unique<DistributorCommand>(bus_->address());
#endif
    }
    void TearDown() override {
        kill();
    }

    [[nodiscard]] std::string in(const std::string& name) const {
        return folder_.path() + "/" + name;
    }
    [[nodiscard]] std::string script() const {
        return in("host.sh");
    }

    void writeScript(const std::string& program) const {
        const SandboxInfo& info = service_.info();
        std::ofstream text(script());
        text << "export HOME=" << in("home") << " DBUS_SESSION_BUS_ADDRESS=" << bus_->address()
             << " XELPUSH_BUS_NAME=" << kHost << "\n"
             << "unset XDG_STATE_HOME XDG_DATA_HOME XDG_CACHE_HOME XDG_CONFIG_HOME UNIFIEDPUSH_DISTRIBUTOR\n"
             << "export XELPUSH_APP_ID=" << info.appId << " XELPUSH_API_KEY=" << info.apiKey
             << " XELPUSH_BROKER_USER=" << info.brokerUser
             << " XELPUSH_BROKER_PASSWORD=" << info.brokerPassword << "\n"
             << "export XELPUSH_LOCAL_BROKER_ADDRESS=localhost XELPUSH_LOCAL_BROKER_PORT=" << info.mqttPort
             << " XELPUSH_LOCAL_BROKER_SSL_PORT=" << info.mqttTlsPort
             << " XELPUSH_LOCAL_REST_SSL_URL=" << info.restUrl << " XELPUSH_CA_FILE=" << info.caFile.string()
             << "\n"
             << "echo $$ > " << in("pid") << "\n"
             << "exec " << program << " >> " << in("output") << " 2>> " << in("errors") << "\n";
    }

    [[nodiscard]] pid_t pid() const {
        pid_t number = 0;
        std::ifstream(in("pid")) >> number;
        return number;
    }
    /// A process that the bus started ends in a zombie of its own, if in any.
    [[nodiscard]] static bool isRunning(pid_t process) {
        const std::string state = contents("/proc/" + std::to_string(process) + "/stat");
        return !state.empty() && state.find(") Z ") == std::string::npos;
    }
    void kill() const {
        if (const pid_t process = pid(); process > 0 && isRunning(process)) {
            ::kill(process, SIGKILL);
            EXPECT_TRUE(eventually([&] { return !isRunning(process); }));
        }
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
    contract::TemporaryFolder folder_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<MockNotificationServer> screen_;
    std::unique_ptr<DistributorCommand> distributor_;
};

TEST_F(WakeUpTest, AHostThatDoesNotRunShowsTheMessage) {
    {
        // Its first start registers it everywhere. It shows what it gets while it runs.
        TestProgram host({"/bin/sh", script()}, in("log"));
        ASSERT_TRUE(eventually([&] { return hasToken(); })) << contents(in("errors"));
        int count = 0;
        ASSERT_TRUE(eventually([&] {
            send("early-" + std::to_string(++count), "while you are here");
            return isShown("while you are here");
        })) << contents(in("errors"));
        ::kill(host.pid(), SIGKILL);
        ASSERT_TRUE(eventually([&] { return !host.isRunning(); }));
    }
    const pid_t first = pid();
    ASSERT_TRUE(eventually([&] { return service_.log.contains("closed its connection"); }));

    send("m1", "while you are away");
    EXPECT_TRUE(eventually([&] { return isShown("while you are away"); }))
        << distributor_->output() << contents(in("errors"));
    EXPECT_NE(pid(), first);
    EXPECT_TRUE(eventually([&] { return service_.log.contains("of message m1: sent"); }));
    EXPECT_TRUE(distributor_->logs("a message handed to org.example.Shop"));
    // The host prints the push message itself, too.
    EXPECT_TRUE(eventually([&] {
        const std::string printed = contents(in("output"));
        return printed.find(R"("body":"while you are away")") != std::string::npos &&
               printed.find(R"("id":"m1")") != std::string::npos;
    })) << contents(in("output"));
}

}  // namespace
}  // namespace xel::test
