#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Classes/PushClientManager.h"
#include "XelPushClient/Foundation/Base64URL.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Push/DBusUnifiedPush.h"
#include "XelPushClient/Linux/System/SimdjsonSerialization.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/FirstAndLast.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/integration/desktop/support/DesktopClient.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/integration/desktop/support/TestDistributor.h"
#include "tests/unit/Linux/Push/WebPushSender.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel {
namespace {

using test::PrivateBus;
using test::TestDistributor;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kHost = "org.example.Shop";
constexpr const char* kDistributor = "org.unifiedpush.Distributor.test";
constexpr const char* kPlaceholder = "Simulator";

template <class T>
sdbus::Variant variant(T value) {
    return sdbus::Variant(std::move(value));
}

/// A whole client on a bus of its own, with the test's distributor.
class ClientWithADistributorTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        environment_.set("UNIFIEDPUSH_DISTRIBUTOR", std::nullopt);
        environment_.set("XDG_CONFIG_HOME", folder_.path() + "/config");
        bus_ = std::make_unique<PrivateBus>();
        options_ = test::DesktopClient::options(folder_.path(), bus_->address(), loop_);
        options_.busName = kHost;
        options_.logSink = log_;
    }

    void makeDistributor(TestDistributor::Behaviour behaviour = {}) {
        distributor_.reset();
        distributor_ = std::make_unique<TestDistributor>(bus_->address(), kDistributor, std::move(behaviour));
    }
    void makeMachine() { machine_ = std::make_unique<Machine>(makeLinuxMachine(options_)); }
    void makeManager() {
        auto home = openLinuxHome(options_, *machine_);
        ASSERT_TRUE(home);
        manager_ = std::make_unique<PushClientManager>(*machine_, std::move(home).value());
        manager_->setEnableLog(true);
    }
    void makeClient() {
        makeMachine();
        makeManager();
        manager_->registerForAPNsToken();
    }
    /// As the end of the process does.
    void dropClient() {
        manager_.reset();
        machine_.reset();
        log_->clear();
    }
    bool becomes(const std::function<bool()>& condition) {
        return contract::driveUntil(*loop_, condition, test::kPatience);
    }
    [[nodiscard]] std::string deviceToken() const {
        const auto token = manager_->deviceToken();
        return token ? std::string(token->begin(), token->end()) : std::string();
    }
    bool getsToken(const std::string& part) {
        return becomes([&] { return deviceToken().find(part) != std::string::npos; });
    }
    bool logs(const std::string& part) {
        return becomes([&] { return log_->contains(part); });
    }
    [[nodiscard]] std::string connectionToken() const { return lastOf(distributor_->registrations()).token; }
    /// What the service would send, by what the token says.
    [[nodiscard]] Data encrypted(const std::string& content) const {
        SimdjsonSerialization json;
        const auto token = json.JSONObjectWithData(deviceToken());
        const auto octetsOf = [&](std::string_view key) {
            return *octetsOfBase64URL(*token.value().asDictionary()->find(key)->asString());
        };
        return test::encryptedForWebPush(octetsOf("publicKey"), octetsOf("auth"), content);
    }

    contract::TemporaryFolder folder_;
    TemporaryEnvironment environment_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<TestDistributor> distributor_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::shared_ptr<RecordingLogSink> log_ = std::make_shared<RecordingLogSink>();
    LinuxOptions options_;
    std::unique_ptr<Machine> machine_;
    std::unique_ptr<PushClientManager> manager_;
};

TEST_F(ClientWithADistributorTest, GetsItsTokenAndMessages) {
    makeDistributor();
    makeClient();
    ASSERT_TRUE(getsToken(R"("endpoint":"https://push.example/1")"));
    EXPECT_EQ(manager_->tokenStatus(), "ALLOWED");
    const auto registrations = distributor_->registrations();
    ASSERT_THAT(registrations, SizeIs(1));
    EXPECT_EQ(registrations[0].service, kHost);
    EXPECT_EQ(registrations[0].token.size(), 36U);
    EXPECT_EQ(registrations[0].description, "Shop");

    const auto answer =
        distributor_->message(kHost, connectionToken(), encrypted(R"({"id": "m1"})"), "message-7");
    EXPECT_EQ(answer.error, "");
    ASSERT_TRUE(answer.results.contains("id"));
    EXPECT_EQ(answer.results.at("id").get<std::string>(), "message-7");
    EXPECT_TRUE(logs(R"(Received Remote Notification: {"id":"m1"})"));
    EXPECT_FALSE(log_->contains(connectionToken()));
    EXPECT_FALSE(log_->contains("push.example"));
}

TEST_F(ClientWithADistributorTest, GetsANewTokenWithEachNewEndpoint) {
    makeDistributor();
    makeClient();
    ASSERT_TRUE(getsToken("push.example/1"));
    EXPECT_THAT(distributor_->newEndpoint(kHost, connectionToken(), "https://push.example/2").results,
                IsEmpty());
    EXPECT_TRUE(getsToken("push.example/2"));
    (void)distributor_->newEndpoint(kHost, "another", "https://push.example/3");
    (void)distributor_->newEndpoint(kHost, connectionToken(), "https://push.example/4");
    EXPECT_TRUE(becomes([&] { return deviceToken().find("push.example/2") == std::string::npos; }));
    EXPECT_THAT(deviceToken(), HasSubstr("push.example/4"));
}

TEST_F(ClientWithADistributorTest, KeepsItsRegistrationOverARestart) {
    makeDistributor();
    makeClient();
    ASSERT_TRUE(getsToken("push.example/1"));
    const std::string before = deviceToken();
    dropClient();
    makeClient();
    ASSERT_TRUE(getsToken("push.example/1"));
    EXPECT_EQ(deviceToken(), before);
    const auto registrations = distributor_->registrations();
    ASSERT_THAT(registrations, SizeIs(2));
    EXPECT_EQ(registrations[0].token, registrations[1].token);
}

TEST_F(ClientWithADistributorTest, ForgetsAnEndpointThatWasTakenBack) {
    makeDistributor();
    makeClient();
    ASSERT_TRUE(getsToken("push.example/1"));
    (void)distributor_->call(kHost, "Unregistered", {{"token", variant(connectionToken())}});
    EXPECT_TRUE(logs("has ended the registration"));
    manager_->registerForAPNsToken();
    EXPECT_TRUE(becomes([&] { return distributor_->registrations().size() == 2; }));
    EXPECT_EQ(distributor_->registrations()[0].token, connectionToken());
}

TEST_F(ClientWithADistributorTest, IgnoresCallsOfTheWrongShape) {
    makeDistributor();
    makeClient();
    ASSERT_TRUE(getsToken("push.example/1"));
    const std::string token = connectionToken();
    const std::string endpoint = "https://push.example/9";
    const Data good = encrypted(R"({"id": "m1"})");
    const std::vector<std::pair<std::string, test::BusFields>> table = {
        {"Message", {}},
        {"Message", {{"token", variant(token)}}},
        {"Message", {{"message", variant(good)}}},
        {"Message", {{"token", variant(std::int32_t{5})}, {"message", variant(good)}}},
        {"Message", {{"token", variant(std::string())}, {"message", variant(good)}}},
        {"Message", {{"token", variant(std::string(101, 't'))}, {"message", variant(good)}}},
        {"Message", {{"token", variant(token)}, {"message", variant(std::string("text"))}}},
        {"Message", {{"token", variant(token)}, {"message", variant(Data())}}},
        {"Message", {{"token", variant(token)}, {"message", variant(Data(4097, 1))}}},
        {"NewEndpoint", {{"token", variant(token)}}},
        {"NewEndpoint", {{"endpoint", variant(endpoint)}}},
        {"NewEndpoint", {{"token", variant(token)}, {"endpoint", variant(std::string("not_an_url"))}}},
        {"NewEndpoint", {{"token", variant(token)}, {"endpoint", variant(std::uint64_t{7})}}},
        {"NewEndpoint", {{"token", variant(true)}, {"endpoint", variant(endpoint)}}},
        {"Unregistered", {}},
        {"Unregistered", {{"token", variant(Data{1})}}},
    };
    const std::string before = deviceToken();
    log_->clear();
    for (const auto& [method, arguments] : table) {
        const auto answer = distributor_->call(kHost, method, arguments);
        EXPECT_EQ(answer.error, "") << method;
        EXPECT_THAT(answer.results, IsEmpty()) << method;
    }
    // What comes next is taken: nothing of the above has been, nor is anything broken.
    EXPECT_EQ(distributor_->message(kHost, token, good).error, "");
    ASSERT_TRUE(logs("Received Remote Notification"));
    EXPECT_THAT(log_->lines(), SizeIs(1)) << log_->lines()[0];
    EXPECT_EQ(deviceToken(), before);
}

TEST_F(ClientWithADistributorTest, GoesOnWithThePlaceholderWithoutADistributor) {
    makeClient();
    EXPECT_TRUE(getsToken(kPlaceholder));
    EXPECT_TRUE(log_->contains("the session has no distributor"));
    makeDistributor();
    manager_->registerForAPNsToken();
    EXPECT_TRUE(getsToken("push.example/1")) << "one has come";
}

TEST_F(ClientWithADistributorTest, GoesOnWithThePlaceholderWhenItIsRefused) {
    makeDistributor({.refusal = "ACTION_REQUIRED"});
    makeClient();
    EXPECT_TRUE(getsToken(kPlaceholder));
    EXPECT_TRUE(log_->contains("ACTION_REQUIRED"));
}

TEST_F(ClientWithADistributorTest, GoesOnWithThePlaceholderWithoutABus) {
    options_.sessionBus = "";
    makeClient();
    EXPECT_TRUE(getsToken(kPlaceholder));
}

TEST_F(ClientWithADistributorTest, GoesOnWithThePlaceholderWhenItsNameIsTaken) {
    const auto other = sdbus::createSessionBusConnectionWithAddress(bus_->address());
    other->requestName(kHost);
    makeDistributor();
    makeClient();
    EXPECT_TRUE(getsToken(kPlaceholder));
    EXPECT_TRUE(log_->contains("Push messages cannot come"));
    other->releaseName(kHost);
    manager_->registerForAPNsToken();
    EXPECT_TRUE(getsToken("push.example/1"));
}

TEST_F(ClientWithADistributorTest, CallsADistributorThatTheBusMustStart) {
    bus_->stop();
    bus_->addService(kDistributor, "/bin/false");
    bus_->start();
    makeClient();
    EXPECT_TRUE(getsToken(kPlaceholder)) << "this one ends at once";
    EXPECT_TRUE(log_->contains("/bin/false") || log_->contains(kDistributor)) << lastOf(log_->lines());
    EXPECT_FALSE(log_->contains("the session has no distributor"));
}

TEST_F(ClientWithADistributorTest, TakesTheDistributorThatTheUserNames) {
    makeDistributor();
    TestDistributor wanted(bus_->address(), "org.unifiedpush.Distributor.wanted",
                           {.endpoint = "https://wanted.example/1"});
    environment_.set("UNIFIEDPUSH_DISTRIBUTOR", "org.unifiedpush.Distributor.wanted");
    makeClient();
    ASSERT_TRUE(getsToken("wanted.example/1"));
    EXPECT_THAT(distributor_->registrations(), IsEmpty());
    dropClient();
    environment_.set("UNIFIEDPUSH_DISTRIBUTOR", kDistributor);
    makeClient();
    ASSERT_TRUE(getsToken("push.example/1"));
    EXPECT_TRUE(test::eventually([&] { return wanted.endings().size() == 1; }));
    EXPECT_THAT(wanted.endings(), ElementsAre(wanted.registrations()[0].token));
}

TEST_F(ClientWithADistributorTest, KeepsAMessageThatComesBeforeTheManager) {
    makeDistributor();
    makeClient();
    ASSERT_TRUE(getsToken("push.example/1"));
    const Data octets = encrypted(R"({"id": "early"})");
    dropClient();
    makeMachine();
    // The name is taken on the connection's own thread.
    ASSERT_TRUE(test::eventually(
        [&] { return distributor_->message(kHost, connectionToken(), octets).error.empty(); }));
    makeManager();
    EXPECT_TRUE(logs(R"(Received Remote Notification: {"id":"early"})"));
}

TEST_F(ClientWithADistributorTest, RefusesWhatARunLoopThatStandsStillDoesNotTake) {
    makeDistributor();
    makeClient();
    ASSERT_TRUE(getsToken("push.example/1"));
    const Data octets = encrypted(R"({"id": "m1"})");
    for (std::size_t count = 0; count < DBusUnifiedPush::kMostCallsUnderWay; ++count) {
        ASSERT_EQ(distributor_->message(kHost, connectionToken(), octets).error, "") << count;
    }
    EXPECT_EQ(distributor_->message(kHost, connectionToken(), octets).error,
              "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_TRUE(
        becomes([&] { return distributor_->message(kHost, connectionToken(), octets).error.empty(); }));
}

}  // namespace
}  // namespace xel
