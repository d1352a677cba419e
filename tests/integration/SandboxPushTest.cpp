// The local push service sends a push message for what waits for a device without a connection, by the real
// broker.

#include <atomic>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/push/WebPushEncryption.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"
#include "tests/integration/desktop/support/TestProgram.h"
#include "tests/integration/support/SandboxSupport.h"
#include "tests/unit/sandbox/push/PushExamples.h"

namespace xel::sandbox::test {
namespace {

using contract::HTTPExchange;
using contract::LocalHTTPServer;
using contract::ReceivedRequest;
using testing::SizeIs;
using xel::test::eventually;

std::string headerOf(const ReceivedRequest& request, const std::string& name) {
    for (const auto& [key, value] : request.headers) {
        if (key == name) {
            return value;
        }
    }
    return {};
}

class SandboxPush : public testing::Test {
protected:
    void SetUp() override {
        const Json record{{"userId", "alice01"}, {"deviceToken", pushTokenOf(endpoint_.url() + "/push/a1")}};
        device_ = askRest(sandbox_.info(), "POST", "installations", record).body["id"];
    }
    // The device was here, and has subscribed.
    void comeAndGo(const std::string& topic) {
        MqttTestClient client(sandbox_.info(), "alice01", device_);
        ASSERT_EQ(client.connect(), 0) << client.lastError();
        ASSERT_EQ(client.subscribe(topic), 1);
        client.disconnect();
    }
    HttpAnswer send(const Json& fields) {
        return askRest(sandbox_.info(), "POST", "sandbox/messages", fields);
    }
    bool logged(const std::string& text) {
        return eventually([&] { return sandbox_.log.contains(text); });
    }

    std::atomic<int> status_{201};
    LocalHTTPServer endpoint_{[this](const ReceivedRequest&, HTTPExchange& exchange) {
        exchange.answer(status_, "");
        return false;
    }};
    RunningSandbox sandbox_;
    std::string app_ = "app/" + sandbox_.info().appId;
    std::string device_;
};

TEST_F(SandboxPush, PostsForADeviceThatIsAway) {
    comeAndGo(app_ + "/user/alice01/orders");
    ASSERT_EQ(
        send(Json{{"user", "alice01"}, {"channel", "orders"}, {"body", "on its way"}, {"id", "m1"}}).status,
        200U);
    ASSERT_TRUE(logged("of message m1: sent"));
    const auto received = endpoint_.received();
    ASSERT_THAT(received, SizeIs(1));
    EXPECT_EQ(received[0].method, "POST");
    EXPECT_EQ(received[0].url, "/push/a1");
    EXPECT_EQ(headerOf(received[0], "Content-Encoding"), "aes128gcm");
    EXPECT_EQ(headerOf(received[0], "TTL"), "86400");
    EXPECT_GT(received[0].body.size(), kPushBodyOverhead);
    // The message itself waits at the broker.
    MqttTestClient client(sandbox_.info(), "alice01", device_);
    ASSERT_EQ(client.connect(), 0);
    const auto message = client.receive();
    ASSERT_TRUE(message);
    EXPECT_EQ(message->json()["id"], "m1");
}

TEST_F(SandboxPush, PostsWhatAClientPublishesAndWhatIsPublic) {
    comeAndGo(app_ + "/user/alice01/orders");
    comeAndGo(app_ + "/user/public/news");
    MqttTestClient bob(sandbox_.info(), "bob02", "B1");
    ASSERT_EQ(bob.connect(), 0);
    ASSERT_TRUE(bob.publish(app_ + "/publish/alice01/orders", R"({"messageBody":"from bob"})"));
    ASSERT_EQ(send(Json{{"channel", "news"}, {"body", "for everybody"}, {"id", "m2"}}).status, 200U);
    ASSERT_TRUE(logged("of message m2: sent"));
    EXPECT_THAT(endpoint_.received(), SizeIs(2));
}

TEST_F(SandboxPush, PostsNothingForADeviceThatIsConnected) {
    comeAndGo(app_ + "/user/alice01/orders");
    {
        MqttTestClient client(sandbox_.info(), "alice01", device_);
        ASSERT_EQ(client.connect(), 0);
        send(Json{{"user", "alice01"}, {"channel", "orders"}, {"body", "here"}, {"id", "m1"}});
        ASSERT_TRUE(client.receive());
        client.disconnect();
    }
    // What comes next is pushed, and nothing was before it.
    ASSERT_TRUE(eventually([&] {
        send(Json{{"user", "alice01"}, {"channel", "orders"}, {"body", "away"}});
        return !endpoint_.received().empty();
    }));
    EXPECT_FALSE(sandbox_.log.contains("of message m1"));
}

TEST_F(SandboxPush, PostsNothingForALiveMessageOrAnotherChannel) {
    comeAndGo(app_ + "/user/alice01/orders");
    send(Json{{"user", "alice01"}, {"channel", "orders"}, {"live", true}, {"id", "m1"}});
    send(Json{{"user", "alice01"}, {"channel", "news"}, {"id", "m2"}});
    send(Json{{"user", "alice01"}, {"channel", "orders"}, {"id", "m3"}});
    ASSERT_TRUE(logged("of message m3: sent"));
    EXPECT_THAT(endpoint_.received(), SizeIs(1));
}

TEST_F(SandboxPush, ForgetsATokenWhoseEndpointIsGone) {
    comeAndGo(app_ + "/user/alice01/orders");
    status_ = 410;
    send(Json{{"user", "alice01"}, {"channel", "orders"}, {"id", "m1"}});
    ASSERT_TRUE(logged("the token forgotten"));
    const HttpAnswer record = askRest(sandbox_.info(), "GET", "installations/" + device_);
    EXPECT_EQ(record.status, 200U);
    EXPECT_FALSE(record.body.contains("deviceToken"));
    EXPECT_EQ(record.body["userId"], "alice01");
}

TEST_F(SandboxPush, GoesOnWhenNobodyListensAtTheEndpoint) {
    const std::string port = std::to_string(LocalHTTPServer(nullptr).port());  // free again by now
    askRest(sandbox_.info(), "PUT", "installations/" + device_,
            Json{{"userId", "alice01"}, {"deviceToken", pushTokenOf("http://localhost:" + port + "/p")}});
    comeAndGo(app_ + "/user/alice01/orders");
    send(Json{{"user", "alice01"}, {"channel", "orders"}, {"id", "m1"}});
    EXPECT_TRUE(logged("of message m1: cannot connect to the endpoint"));
    send(Json{{"user", "alice01"}, {"channel", "orders"}, {"id", "m2"}});
    EXPECT_TRUE(logged("of message m2: cannot connect to the endpoint"));
}

TEST_F(SandboxPush, KeepsNoticesFromClients) {
    MqttTestClient client(sandbox_.info(), "alice01", device_);
    ASSERT_EQ(client.connect(), 0);
    EXPECT_EQ(client.subscribe("service/waiting/#"), 128);
    EXPECT_EQ(client.subscribe("service/waiting/alice01/" + device_), 128);
}

}  // namespace
}  // namespace xel::sandbox::test
