// What the broker sees when the machine sleeps or the process is ended: a client that says goodbye.

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/FirstAndLast.h"
#include "tests/integration/desktop/support/MockLogind.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/integration/desktop/support/TestProgram.h"
#include "tests/integration/support/LiveClient.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::test {
namespace {

using namespace std::chrono_literals;
using sandbox::Json;
using sandbox::SandboxOptions;
using sandbox::test::askRest;
using sandbox::test::RunningSandbox;
using sandbox::test::TemporaryFolder;

/// A service whose broker says how each connection ended.
class Goodbye : public testing::Test {
protected:
    static SandboxOptions talkative() {
        SandboxOptions options;
        options.verbose = true;
        return options;
    }
    /// The broker was told DISCONNECT.
    [[nodiscard]] bool wasSaid() const { return timesSaid() > 0; }
    [[nodiscard]] std::ptrdiff_t timesSaid() const {
        const auto lines = sandbox_.log.lines();
        return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
            return line.find(" disconnected.") != std::string::npos;
        });
    }
    /// The connection ended without it, after which the broker publishes a last will.
    [[nodiscard]] bool wasMissed() const { return sandbox_.log.tellsOfALostClient(); }

    RunningSandbox sandbox_{talkative()};
    TemporaryFolder home_;
};

TEST_F(Goodbye, IsSaidBeforeTheMachineSleepsAndTheClientComesBackInTheMorning) {
    if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const PrivateBus bus;
    MockLogind logind(bus.address(), 1200ms);
    LiveClientOptions options;
    options.home = home_.path();
    options.channels = {"news"};
    options.systemBus = bus.address();
    LiveClient client(sandbox_.info(), options);
    client.registerUser();
    ASSERT_TRUE(client.runUntil([&] { return client.subscribed.size() == 1 && logind.heldCount() == 1; }));

    logind.prepareForSleep(true);
    ASSERT_TRUE(client.runUntil([&] { return logind.heldCount() == 0; }));
    EXPECT_EQ(client.state(), "Disconnected");
    EXPECT_TRUE(client.log->contains("########################### Expired Background Task!"));
    EXPECT_TRUE(eventually([&] { return wasSaid(); })) << "without another turn of the client's loop";
    EXPECT_FALSE(wasMissed());

    const Json atNight{{"channel", "news"}, {"body", "good morning"}};
    ASSERT_EQ(askRest(sandbox_.info(), "POST", "sandbox/messages", atNight).status, 200U);
    logind.prepareForSleep(false);
    ASSERT_TRUE(client.runUntilState("Connected"));
    ASSERT_TRUE(client.runUntilMessages(1));
    EXPECT_EQ(firstOf(client.messages).messageBody, "good morning");
    EXPECT_TRUE(client.runUntil([&] { return logind.heldCount() == 1; })) << "for the next night";
}

TEST_F(Goodbye, IsNotSaidWhenTheSleepIsCalledOff) {
    if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const PrivateBus bus;
    MockLogind logind(bus.address(), 1h);
    LiveClientOptions options;
    options.home = home_.path();
    options.systemBus = bus.address();
    LiveClient client(sandbox_.info(), options);
    client.registerUser();
    ASSERT_TRUE(client.runUntil([&] { return client.state() == "Connected" && logind.heldCount() == 1; }));
    logind.prepareForSleep(true);
    logind.prepareForSleep(false);
    ASSERT_TRUE(client.runUntil(
        [&] { return client.log->contains("-[PushClientManager applicationWillEnterForeground:]"); }));
    client.runFor(100ms);
    EXPECT_EQ(client.state(), "Connected");
    EXPECT_EQ(logind.heldCount(), 1U);
    EXPECT_FALSE(wasSaid() || wasMissed());
}

TEST_F(Goodbye, IsSaidByAHostThatGoesToTheBackgroundOrEndsByHand) {
    LiveClientOptions options;
    options.home = home_.path();
    LiveClient client(sandbox_.info(), options);
    client.registerUser();
    ASSERT_TRUE(client.runUntilState("Connected"));
    client.application().enterBackground(500ms);
    client.runFor(100ms);
    EXPECT_EQ(client.state(), "Connected") << "the background time is not up";
    ASSERT_TRUE(client.runUntilState("Disconnected"));
    EXPECT_TRUE(eventually([&] { return wasSaid(); }));

    client.application().becomeActive();
    ASSERT_TRUE(client.runUntilState("Connected"));
    client.application().willTerminate();
    ASSERT_TRUE(client.runUntilState("Disconnected"));
    EXPECT_TRUE(eventually([&] { return timesSaid() == 2; }));
    EXPECT_FALSE(wasMissed());
}

class GoodbyeOnSignal : public Goodbye, public testing::WithParamInterface<int> {};

TEST_P(GoodbyeOnSignal, IsSaidByAListeningCommand) {
    TestProgram listener(
        {XELPUSH_COMMAND_PATH, "listen", "--user", "alice01", "--channel", "news", "--state-folder",
         (home_.path() / "state").string(), "--sandbox-folder", sandbox_.info().stateFolder.string()},
        home_.path() / "listener.log");
    ASSERT_TRUE(eventually([&] { return listener.output().find("news") != std::string::npos; }));
    ASSERT_EQ(::kill(listener.pid(), GetParam()), 0);
    EXPECT_TRUE(eventually([&] { return !listener.isRunning(); })) << listener.output();
    EXPECT_TRUE(eventually([&] { return wasSaid(); }));
    EXPECT_FALSE(wasMissed());
}

INSTANTIATE_TEST_SUITE_P(Signals, GoodbyeOnSignal, testing::Values(SIGTERM, SIGINT),
                         [](const auto& signal) { return signal.param == SIGTERM ? "Term" : "Int"; });

}  // namespace
}  // namespace xel::test
