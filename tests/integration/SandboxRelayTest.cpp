// From a publish topic to the receivers, and the delivery report back to the sender.

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "sandbox/relay/WallClock.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::sandbox::test {
namespace {

class SandboxRelay : public testing::Test {
protected:
    void connect(MqttTestClient& client) { ASSERT_EQ(client.connect(), 0) << client.lastError(); }

    RunningSandbox sandbox_;
    std::string app_ = "app/" + sandbox_.info().appId;
    MqttTestClient alice_{sandbox_.info(), "alice01", "A1"};
    MqttTestClient bob_{sandbox_.info(), "bob01", "B1"};
};

TEST_F(SandboxRelay, MakesAMessageWithIdTimeAndSender) {
    connect(alice_);
    connect(bob_);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/orders"), 1);
    const std::int64_t before = millisecondsSince1970();
    ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/orders",
                               R"({"id":"forged","senderId":"mallory","serverTime":1,"messageBody":"hi",
                                   "notification":{"title":"t"},"data":{"a":{"b":[1]}},"expireTime":9e12,
                                   "silent":true,"channel":"elsewhere","userId":"elsewhere"})"));
    const auto received = bob_.receive();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->topic, app_ + "/user/bob01/orders");
    EXPECT_EQ(received->qos, 1);
    const Json message = received->json();
    EXPECT_EQ(message["id"].get<std::string>().size(), 36U);
    EXPECT_GE(message["serverTime"].get<std::int64_t>(), before);
    EXPECT_LE(message["serverTime"].get<std::int64_t>(), millisecondsSince1970());
    EXPECT_EQ(message["senderId"], "alice01");
    EXPECT_EQ(message["sentId"], "A1");
    EXPECT_EQ(message["userId"], "bob01");
    EXPECT_EQ(message["channel"], "private/orders");
    EXPECT_EQ(message["messageBody"], "hi");
    EXPECT_EQ(message["notification"]["title"], "t");
    EXPECT_EQ(message["data"]["a"]["b"][0], 1);
    EXPECT_EQ(message["expireTime"], 9e12);
    EXPECT_EQ(message["silent"], true);
}

TEST_F(SandboxRelay, GivesEachMessageItsOwnIdAndKeepsTheOrder) {
    connect(alice_);
    connect(bob_);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/public/news"), 1);
    constexpr int kCount = 50;
    for (int i = 0; i < kCount; ++i) {
        ASSERT_TRUE(
            alice_.publish(app_ + "/publish/public/news", R"({"messageBody":")" + std::to_string(i) + "\"}"));
    }
    std::set<std::string> ids;
    for (int i = 0; i < kCount; ++i) {
        const auto received = bob_.receive();
        ASSERT_TRUE(received) << "after " << i;
        EXPECT_EQ(received->json()["messageBody"], std::to_string(i));
        ids.insert(received->json()["id"].get<std::string>());
    }
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(kCount));
}

TEST_F(SandboxRelay, KeepsTheQualityOfServiceAndTheRetainFlag) {
    connect(alice_);
    connect(bob_);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/live"), 1);
    ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/live", R"({"messageBody":"now"})", 0));
    const auto live = bob_.receive();
    ASSERT_TRUE(live);
    EXPECT_EQ(live->qos, 0);
    EXPECT_EQ(live->json()["live"], true);

    ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/state", R"({"messageBody":"kept"})", 1, true));
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/state"), 1);
    const auto kept = bob_.receive();
    ASSERT_TRUE(kept);
    EXPECT_TRUE(kept->retained);
    EXPECT_EQ(kept->json()["messageBody"], "kept");
    EXPECT_EQ(kept->json()["stateful"], true);
}

TEST_F(SandboxRelay, DropsWhatIsNoJsonObjectAndSaysSo) {
    connect(alice_);
    connect(bob_);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/news"), 1);
    const std::string deep = "{\"data\":" + std::string(200000, '[') + std::string(200000, ']') + "}";
    for (const std::string& payload : {std::string(), std::string("hello"), std::string("[1]"),
                                       std::string("{\"messageBody\":\"\xFF\"}"), deep}) {
        EXPECT_TRUE(alice_.publish(app_ + "/publish/bob01/news", payload));
    }
    ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/news", R"({"messageBody":"good"})"));
    const auto received = bob_.receive();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->json()["messageBody"], "good");
    EXPECT_TRUE(sandbox_.log.contains("dropped what '" + sandbox_.info().appId + "/alice01/A1' published"));
}

TEST_F(SandboxRelay, ReportsADeliveryToTheSenderOnce) {
    connect(alice_);
    connect(bob_);
    ASSERT_EQ(alice_.subscribe(app_ + "/delivery/alice01/#"), 1);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/orders"), 1);
    // Matches the same message once more: no second report.
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/#"), 1);
    ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/orders", R"({"messageBody":"1"})"));
    ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/orders", R"({"messageBody":"2"})"));

    std::vector<std::string> expected;
    while (expected.size() < 2) {
        const auto message = bob_.receive();
        ASSERT_TRUE(message);
        const std::string topic = app_ + "/delivery/alice01/" + message->json()["id"].get<std::string>();
        if (expected.empty() || expected.back() != topic) {
            expected.push_back(topic);
        }
    }
    for (const std::string& topic : expected) {
        const auto report = alice_.receive();
        ASSERT_TRUE(report);
        EXPECT_EQ(report->topic, topic);
        EXPECT_EQ(report->qos, 1);
        const std::string start = "bob01-:-B1-:-";
        ASSERT_EQ(report->payload.rfind(start, 0), 0U) << report->payload;
        EXPECT_NEAR(std::stod(report->payload.substr(start.size())),
                    static_cast<double>(millisecondsSince1970()), 60000.0);
    }
}

TEST_F(SandboxRelay, ReportsADeliveryForEachDevice) {
    connect(alice_);
    connect(bob_);
    MqttTestClient second(sandbox_.info(), "bob01", "B2");
    connect(second);
    ASSERT_EQ(alice_.subscribe(app_ + "/delivery/alice01/#"), 1);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/orders"), 1);
    ASSERT_EQ(second.subscribe(app_ + "/user/bob01/orders"), 1);
    ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/orders", R"({"messageBody":"1"})"));
    std::set<std::string> devices;
    for (int i = 0; i < 2; ++i) {
        const auto report = alice_.receive();
        ASSERT_TRUE(report);
        devices.insert(report->payload.substr(0, report->payload.rfind("-:-")));
    }
    EXPECT_EQ(devices, (std::set<std::string>{"bob01-:-B1", "bob01-:-B2"}));
}

TEST_F(SandboxRelay, ReportsADeliveryToADeviceThatWasAwayWhenItComesBack) {
    connect(alice_);
    connect(bob_);
    ASSERT_EQ(alice_.subscribe(app_ + "/delivery/alice01/#"), 1);
    ASSERT_EQ(alice_.subscribe(app_ + "/event/#"), 1);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/orders"), 1);
    bob_.disconnect();
    ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/orders", R"({"messageBody":"later"})"));
    // Had the message been reported already, the report would be here before this event, which took longer.
    ASSERT_TRUE(alice_.publish(app_ + "/event/mark/A1", "{}"));
    ASSERT_TRUE(alice_.publish(app_ + "/event/mark/A1", "{}"));
    for (int i = 0; i < 2; ++i) {
        const auto mark = alice_.receive();
        ASSERT_TRUE(mark);
        EXPECT_EQ(mark->topic, app_ + "/event/mark/A1");
    }
    connect(bob_);
    EXPECT_TRUE(bob_.sessionPresent());
    const auto message = bob_.receive();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->json()["messageBody"], "later");
    const auto report = alice_.receive();
    ASSERT_TRUE(report);
    EXPECT_EQ(report->topic, app_ + "/delivery/alice01/" + message->json()["id"].get<std::string>());
}

TEST_F(SandboxRelay, QueuesForADeviceThatIsAwayWithoutALimit) {
    connect(bob_);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/orders"), 1);
    bob_.disconnect();
    connect(alice_);
    constexpr int kCount = 1500;  // mosquitto's own limit would be 1000
    for (int i = 0; i < kCount; ++i) {
        ASSERT_TRUE(alice_.publish(app_ + "/publish/bob01/orders",
                                   R"({"messageBody":")" + std::to_string(i) + "\"}"));
    }
    connect(bob_);
    for (int i = 0; i < kCount; ++i) {
        const auto received = bob_.receive();
        ASSERT_TRUE(received) << "after " << i;
        EXPECT_EQ(received->json()["messageBody"], std::to_string(i));
    }
}

TEST_F(SandboxRelay, SendsFromTheRestBackendInAnotherUsersName) {
    connect(alice_);
    connect(bob_);
    ASSERT_EQ(alice_.subscribe(app_ + "/delivery/alice01/#"), 1);
    ASSERT_EQ(bob_.subscribe(app_ + "/user/bob01/orders"), 1);
    ASSERT_EQ(bob_.subscribe(app_ + "/event/login/+"), 1);
    const Json order{{"user", "bob01"}, {"channel", "orders"}, {"body", "hi"}, {"senderId", "alice01"}};
    const HttpAnswer answer = askRest(sandbox_.info(), "POST", "sandbox/messages", order);
    ASSERT_EQ(answer.status, 200U) << answer.error;
    const auto received = bob_.receive();
    ASSERT_TRUE(received);
    EXPECT_EQ(received->json(), answer.body["message"]);
    const auto report = alice_.receive();
    ASSERT_TRUE(report);
    EXPECT_EQ(report->topic, app_ + "/delivery/alice01/" + answer.body["id"].get<std::string>());

    const HttpAnswer event =
        askRest(sandbox_.info(), "POST", "sandbox/events", Json{{"event", "login"}, {"deviceId", "X9"}});
    ASSERT_EQ(event.status, 200U) << event.error;
    const auto published = bob_.receive();
    ASSERT_TRUE(published);
    EXPECT_EQ(published->topic, app_ + "/event/login/X9");
    EXPECT_EQ(published->json(), event.body["data"]);
}

}  // namespace
}  // namespace xel::sandbox::test
