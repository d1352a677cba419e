// Who may do what on the local push service's broker, over real MQTT.

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/broker/BrokerConfiguration.h"
#include "sandbox/process/SandboxError.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::sandbox::test {
namespace {

constexpr int kRefused = 128;
constexpr int kNotAuthorized = 5;

TEST(SandboxBroker, ServesAClientOverPlainAndTls) {
    const RunningSandbox sandbox;
    const SandboxInfo& info = sandbox.info();
    MqttTestClient plain(info, "alice01", "D1");
    EXPECT_EQ(plain.connect(), 0) << plain.lastError();

    MqttTestClient overTls({.clientId = info.appId + "/alice01/D2",
                            .user = info.brokerUser,
                            .password = info.brokerPassword,
                            .port = info.mqttTlsPort,
                            .caFile = info.caFile,
                            .cleanSession = false});
    EXPECT_EQ(overTls.connect(), 0) << overTls.lastError();
}

// Of many connects, because the one or the other may wait for the processor.
TEST(SandboxBroker, AnswersOverTlsBeforeTheKernelsAcknowledgementIsDue) {
    const RunningSandbox sandbox;
    const SandboxInfo& info = sandbox.info();
    auto fastest = std::chrono::steady_clock::duration::max();
    for (int i = 0; i < 20; ++i) {
        MqttTestClient client({.clientId = info.appId + "/alice01/D" + std::to_string(i),
                               .user = info.brokerUser,
                               .password = info.brokerPassword,
                               .port = info.mqttTlsPort,
                               .caFile = info.caFile,
                               .cleanSession = true});
        const auto start = std::chrono::steady_clock::now();
        ASSERT_EQ(client.connect(), 0) << client.lastError();
        fastest = std::min(fastest, std::chrono::steady_clock::now() - start);
    }
    EXPECT_LT(fastest, std::chrono::milliseconds(35));
}

TEST(SandboxBroker, RefusesWrongCredentialsAndClientIds) {
    const RunningSandbox sandbox;
    const SandboxInfo& info = sandbox.info();
    struct Case {
        std::string clientId;
        std::string user;
        std::string password;
    };
    const std::string good = info.appId + "/alice01/D1";
    const Case cases[] = {
        {good, info.brokerUser, "wrong"},
        {good, "nobody", info.brokerPassword},
        {good, "", ""},
        {"anything", info.brokerUser, info.brokerPassword},
        {"xelpush-sandbox-service", info.brokerUser, info.brokerPassword},
        {"other-app/alice01/D1", info.brokerUser, info.brokerPassword},
        {info.appId + "/+/D1", info.brokerUser, info.brokerPassword},
        {info.appId + "/alice01/#", info.brokerUser, info.brokerPassword},
        {info.appId + "/alice01/D1/more", info.brokerUser, info.brokerPassword},
    };
    for (const Case& each : cases) {
        MqttTestClient client({.clientId = each.clientId,
                               .user = each.user,
                               .password = each.password,
                               .port = info.mqttPort,
                               .caFile = {},
                               .cleanSession = true});
        EXPECT_EQ(client.connect(), kNotAuthorized) << each.clientId << " as " << each.user;
    }
}

TEST(SandboxBroker, GrantsOwnAndPublicTopicsAndRefusesEveryOther) {
    const RunningSandbox sandbox;
    const std::string app = "app/" + sandbox.info().appId;
    MqttTestClient client(sandbox.info(), "alice01", "D1");
    ASSERT_EQ(client.connect(), 0);
    for (const char* topic : {"/user/alice01/D1", "/user/alice01/news", "/user/public/news",
                              "/delivery/alice01/#", "/event/login/+", "/event/login/X9"}) {
        EXPECT_EQ(client.subscribe(app + topic), 1) << topic;
    }
    for (const std::string& topic :
         {app + "/user/bob01/news", app + "/user/+/news", app + "/user/#", app + "/delivery/bob01/#",
          app + "/#", app + "/publish/#", std::string("app/other/user/alice01/news"), std::string("#"),
          std::string("$SYS/#")}) {
        EXPECT_EQ(client.subscribe(topic), kRefused) << topic;
    }
}

// A topic that a client may not publish on reaches nobody, though the broker acknowledges it (MQTT 3.1.1 has
// no other answer). What is published after it, and arrives first, proves that.
TEST(SandboxBroker, DropsWhatAClientMayNotPublish) {
    const RunningSandbox sandbox;
    const std::string app = "app/" + sandbox.info().appId;
    MqttTestClient reader(sandbox.info(), "alice01", "D1");
    ASSERT_EQ(reader.connect(), 0);
    ASSERT_EQ(reader.subscribe(app + "/user/alice01/news"), 1);
    ASSERT_EQ(reader.subscribe(app + "/user/public/news"), 1);
    ASSERT_EQ(reader.subscribe(app + "/delivery/alice01/#"), 1);
    ASSERT_EQ(reader.subscribe(app + "/event/#"), 1);

    MqttTestClient writer(sandbox.info(), "bob01", "D2");
    ASSERT_EQ(writer.connect(), 0);
    for (const char* topic :
         {"/user/alice01/news", "/user/public/news", "/delivery/alice01/m1", "/event/login/D1"}) {
        EXPECT_TRUE(writer.publish(app + topic, "{}")) << topic;
    }
    EXPECT_TRUE(writer.publish(app + "/event/login/D2", "{\"x\":1}"));
    const auto first = reader.receive();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->topic, app + "/event/login/D2");
    EXPECT_EQ(first->payload, "{\"x\":1}");
}

TEST(SandboxBroker, TellsTheServiceOfEvents) {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> events;
    SandboxOptions options;
    options.onEvent = [&](std::string_view topic, std::string_view payload) {
        const std::lock_guard lock(mutex);
        events.push_back(std::string(topic) + " " + std::string(payload));
        changed.notify_all();
    };
    const RunningSandbox sandbox(options);
    const std::string app = "app/" + sandbox.info().appId;
    MqttTestClient client(sandbox.info(), "alice01", "D1");
    ASSERT_EQ(client.connect(), 0);
    ASSERT_TRUE(client.publish(app + "/event/seen/m1", "{\"ts\":\"1.0\"}"));
    ASSERT_TRUE(client.publish(app + "/event/login/D1", "{}"));
    std::unique_lock lock(mutex);
    ASSERT_TRUE(changed.wait_for(lock, kPatience, [&] { return events.size() == 2; }));
    EXPECT_EQ(events[0], app + "/event/seen/m1 {\"ts\":\"1.0\"}");
    EXPECT_EQ(events[1], app + "/event/login/D1 {}");
    EXPECT_TRUE(sandbox.log.contains("message m1 was seen"));
}

/// Waits until the broker says that it saves.
class SaveWatch {
public:
    LogSink sink() {
        return [this](std::string_view line) {
            if (line.find("Saving in-memory database") != std::string_view::npos) {
                const std::lock_guard lock(mutex_);
                ++saves_;
                changed_.notify_all();
            }
        };
    }
    /// Whether it does so again in that time.
    bool seesTheNext(std::chrono::seconds patience) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [this, before = saves_] { return saves_ > before; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int saves_ = 0;
};

TEST(SandboxBroker, LosesNothingThatIsOlderThanTenSecondsWhenItIsKilled) {
    const TemporaryFolder folder;
    const LogKeeper log;
    const Json message{{"user", "alice01"}, {"channel", "news"}, {"body", "queued"}};
    {
        SaveWatch watch;
        SandboxOptions options = makeOptions(folder, log);
        options.verbose = true;
        options.log = watch.sink();
        SandboxService service(std::move(options));
        service.start();
        {
            MqttTestClient device(service.info(), "alice01", "D1");
            ASSERT_EQ(device.connect(), 0);
            ASSERT_EQ(device.subscribe("app/" + service.info().appId + "/user/alice01/news"), 1);
        }
        ASSERT_EQ(askRest(service.info(), "POST", "sandbox/messages", message).status, 200U);
        // One second for a machine with other things to do.
        ASSERT_TRUE(watch.seesTheNext(std::chrono::seconds(kSecondsBetweenSaves + 1)));
        // It says so before, and answers nobody meanwhile.
        ASSERT_EQ(askRest(service.info(), "POST", "sandbox/messages", message).status, 200U);
        ASSERT_EQ(::kill(service.brokerPid(), SIGKILL), 0);
        EXPECT_THROW(service.waitUntilStopped(), SandboxError);
    }
    SandboxService again(makeOptions(folder, log));
    again.start();
    MqttTestClient device(again.info(), "alice01", "D1");
    ASSERT_EQ(device.connect(), 0);
    EXPECT_TRUE(device.sessionPresent());
    const auto received = device.receive();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->json()["messageBody"], "queued");
}

}  // namespace
}  // namespace xel::sandbox::test
