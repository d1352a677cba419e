#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/relay/AccessRules.h"
#include "sandbox/rest/MessageDesk.h"
#include "sandbox/rest/RestBackend.h"
#include "sandbox/store/ServiceStores.h"
#include "tests/unit/sandbox/TemporaryFolder.h"

namespace xel::sandbox {
namespace {

// The backend over a real store; what it publishes is kept, and taken or not as `brokerTakes_` says.
class RestBackendTest : public testing::Test {
protected:
    RestResponse ask(const std::string& method, const std::string& target, const std::string& body = {}) {
        RestRequest request;
        request.method = method;
        request.body = body;
        parseTarget(target, request);
        std::optional<RestResponse> answer;
        backend_.handle(request, [&answer](RestResponse response) { answer = std::move(response); });
        EXPECT_TRUE(answer) << "no answer";
        return answer.value_or(RestResponse{});
    }

    test::TemporaryFolder folder_;
    ServiceStores stores_{folder_.path()};
    std::vector<std::string> lines_;
    ProgressLog log_{[this](std::string_view line) { lines_.emplace_back(line); }};
    bool brokerTakes_{true};
    std::vector<ServiceClient::Publication> published_;
    MessageDesk desk_{"shop", [this](const ServiceClient::Publication& publication, const auto& onTaken) {
                          published_.push_back(publication);
                          onTaken(brokerTakes_);
                      }};
    RestBackend backend_{{"shop", "key"}, stores_, desk_, log_};
};

TEST_F(RestBackendTest, KeepsReplacesAndRemovesAnInstallation) {
    const RestResponse made = ask("POST", "/api/installations?access_token=key",
                                  R"({"id":"mine","appId":"shop","userId":"alice01"})");
    ASSERT_EQ(made.status, 200U);
    const std::string id = made.body["id"];
    EXPECT_NE(id, "mine");
    EXPECT_EQ(made.body["userId"], "alice01");

    const std::string target = "/api/installations/" + id + "?access_token=key";
    const RestResponse replaced = ask("PUT", target, R"({"appId":"shop","badge":3})");
    ASSERT_EQ(replaced.status, 200U);
    EXPECT_EQ(replaced.body["id"], id);
    EXPECT_EQ(replaced.body["badge"], 3);
    EXPECT_EQ(replaced.body["created"], made.body["created"]);
    EXPECT_FALSE(replaced.body.contains("userId"));

    EXPECT_EQ(ask("GET", target).body, replaced.body);
    EXPECT_EQ(ask("DELETE", target).status, 200U);
    EXPECT_EQ(ask("GET", target).status, 404U);
    EXPECT_EQ(ask("PUT", target, "{}").status, 404U);
    EXPECT_EQ(ask("DELETE", target).status, 404U);
}

TEST_F(RestBackendTest, KeepsInstallationsForTheNextStart) {
    const std::string id =
        ask("POST", "/api/installations?access_token=key", R"({"userId":"alice01"})").body["id"];
    const ServiceStores again(folder_.path());
    ASSERT_TRUE(again.installations.find(id));
    EXPECT_EQ((*again.installations.find(id))["userId"], "alice01");
}

TEST_F(RestBackendTest, AnswersEveryMistakeWithItsStatus) {
    struct Case {
        const char* method;
        const char* target;
        const char* body;
        unsigned status;
    };
    const Case cases[] = {
        {"POST", "/api/installations", "{}", 401},
        {"POST", "/api/installations?access_token=", "{}", 401},
        {"POST", "/api/installations?access_token=kez", "{}", 401},
        {"POST", "/api/installations?access_token=key2", "{}", 401},
        {"GET", "/api/nothing", "", 401},
        {"GET", "/", "", 404},
        {"GET", "/other/installations?access_token=key", "", 404},
        {"GET", "/api/nothing?access_token=key", "", 404},
        {"GET", "/api/installations/a/b?access_token=key", "", 404},
        {"GET", "/api/installations/unknown?access_token=key", "", 404},
        {"GET", "/api/installations?access_token=key", "", 405},
        {"PATCH", "/api/installations/x?access_token=key", "{}", 405},
        {"GET", "/api/sandbox/messages?access_token=key", "", 405},
        {"POST", "/api/sandbox/codes?access_token=key", "{}", 405},
        {"PUT", "/api/sandbox/events?access_token=key", "{}", 405},
        {"POST", "/api/installations/addTag/alice01/vip?access_token=key", "", 405},
        {"POST", "/api/verification/requestCode/alice01?access_token=key", "", 405},
        {"GET", "/api/crashReports?access_token=key", "", 405},
        {"GET", "/api/installations/addTag/alice01/vip", "", 401},
        {"GET", "/api/verification/requestCode/alice01", "", 401},
        {"GET", "/api/verification/verifyCode/alice01/1?access_token=kez", "", 401},
        {"POST", "/api/crashReports", "{}", 401},
        {"GET", "/api/sandbox/codes", "", 401},
        {"GET", "/api/sandbox/codes?access_token=kez", "", 401},
        {"GET", "/api/sandbox/nothing?access_token=key", "", 404},
        {"GET", "/api/verification/other/alice01?access_token=key", "", 404},
        {"GET", "/api/installations/addTag/alice01?access_token=key", "", 400},
        {"GET", "/api/installations/removeTag/alice01/a/b?access_token=key", "", 400},
        {"GET", "/api/verification/requestCode/?access_token=key", "", 400},
        {"GET", "/api/verification/verifyCode/alice01?access_token=key", "", 400},
        {"POST", "/api/crashReports?access_token=key", "[1]", 400},
        {"GET", "/api/sandbox/events?access_token=key&limit=0", "", 400},
        {"GET", "/api/sandbox/events?access_token=key&limit=1001", "", 400},
        {"GET", "/api/sandbox/events?access_token=key&limit=1x", "", 400},
        {"POST", "/api/installations?access_token=key", "", 400},
        {"POST", "/api/installations?access_token=key", "[1]", 400},
        {"POST", "/api/installations?access_token=key", "{\"a\":", 400},
        {"PUT", "/api/installations/x?access_token=key", "nonsense", 400},
        {"POST", "/api/sandbox/messages?access_token=key", "nonsense", 400},
        {"POST", "/api/installations?access_token=key", R"({"appId":"other"})", 403},
    };
    for (const Case& each : cases) {
        const RestResponse response = ask(each.method, each.target, each.body);
        EXPECT_EQ(response.status, each.status) << each.method << " " << each.target;
        EXPECT_EQ(response.body["error"]["status"], each.status) << each.target;
        EXPECT_TRUE(response.body["error"]["message"].is_string()) << each.target;
        EXPECT_EQ(response.allow.empty(), each.status != 405) << each.target;
    }
    EXPECT_TRUE(published_.empty());
}

TEST_F(RestBackendTest, SendsAMessageToAUserOrToEverybody) {
    const RestResponse toUser = ask("POST", "/api/sandbox/messages?access_token=key",
                                    R"({"user":"alice01","channel":"orders","body":"hi","data":{"a":1},
                                        "notification":{"title":"t"},"expireTime":5,"silent":true,"id":"m1"})");
    ASSERT_EQ(toUser.status, 200U);
    EXPECT_EQ(toUser.body["id"], "m1");
    ASSERT_EQ(published_.size(), 1U);
    EXPECT_EQ(published_[0].topic, "app/shop/user/alice01/orders");
    EXPECT_FALSE(published_[0].live);
    EXPECT_FALSE(published_[0].stateful);
    const Json message = Json::parse(published_[0].payload);
    EXPECT_EQ(message, toUser.body["message"]);
    EXPECT_EQ(message["messageBody"], "hi");
    EXPECT_EQ(message["data"]["a"], 1);
    EXPECT_EQ(message["notification"]["title"], "t");
    EXPECT_EQ(message["expireTime"], 5);
    EXPECT_EQ(message["silent"], true);

    const RestResponse toAll =
        ask("POST", "/api/sandbox/messages?access_token=key",
            R"({"user":"*","body":"hi","live":true,"stateful":true,"senderId":"bob01"})");
    ASSERT_EQ(toAll.status, 200U);
    EXPECT_EQ(toAll.body["id"].get<std::string>().size(), 36U);
    EXPECT_EQ(toAll.body["message"]["senderId"], "bob01");
    ASSERT_EQ(published_.size(), 2U);
    EXPECT_EQ(published_[1].topic, "app/shop/user/public/default");
    EXPECT_TRUE(published_[1].live);
    EXPECT_TRUE(published_[1].stateful);
}

TEST_F(RestBackendTest, TakesAChannelWithItsScope) {
    ask("POST", "/api/sandbox/messages?access_token=key", R"({"channel":"public/news"})");
    ask("POST", "/api/sandbox/messages?access_token=key", R"({"user":"alice01","channel":"private/news"})");
    ASSERT_EQ(published_.size(), 2U);
    EXPECT_EQ(published_[0].topic, "app/shop/user/public/news");
    EXPECT_EQ(published_[1].topic, "app/shop/user/alice01/news");
}

TEST_F(RestBackendTest, RefusesAMessageOrEventWithAWrongField) {
    for (const char* body :
         {R"({"user":"a/b"})", R"({"user":"+"})", R"({"user":""})", R"({"user":5})", R"({"channel":"a/b"})",
          R"({"channel":"private/news"})", R"({"channel":"#"})", R"({"body":5})", R"({"data":"x"})",
          R"({"notification":[]})", R"({"expireTime":true})", R"({"silent":"yes"})", R"({"live":1})",
          R"({"text":"hi"})"}) {
        EXPECT_EQ(ask("POST", "/api/sandbox/messages?access_token=key", body).status, 400U) << body;
    }
    for (const char* body :
         {R"({})", R"({"event":"login"})", R"({"event":"a/b","deviceId":"D1"})",
          R"({"event":"login","deviceId":"#"})", R"({"event":"l","deviceId":"D","data":[]})"}) {
        EXPECT_EQ(ask("POST", "/api/sandbox/events?access_token=key", body).status, 400U) << body;
    }
    EXPECT_TRUE(published_.empty());
}

TEST_F(RestBackendTest, PublishesAnEventAsAClientWould) {
    const RestResponse full = ask("POST", "/api/sandbox/events?access_token=key",
                                  R"({"event":"login","deviceId":"X9","data":{"x":1}})");
    ASSERT_EQ(full.status, 200U);
    ASSERT_EQ(published_.size(), 1U);
    EXPECT_EQ(published_[0].topic, "app/shop/event/login/X9");
    const Json data = Json::parse(published_[0].payload);
    EXPECT_EQ(data["x"], 1);
    EXPECT_EQ(data["id"].get<std::string>().size(), 36U);
    EXPECT_TRUE(data["createdAt"].is_number());

    ask("POST", "/api/sandbox/events?access_token=key",
        R"({"event":"login","deviceId":"X9","data":{"id":"e1","createdAt":2}})");
    EXPECT_EQ(published_.at(1).payload, R"({"id":"e1","createdAt":2})");
    ask("POST", "/api/sandbox/events?access_token=key",
        R"({"event":"login","deviceId":"X9","data":{"x":1},"bare":true})");
    EXPECT_EQ(published_.at(2).payload, R"({"x":1})");
}

TEST_F(RestBackendTest, SaysSoWhenTheBrokerDoesNotTakeAMessage) {
    brokerTakes_ = false;
    EXPECT_EQ(ask("POST", "/api/sandbox/messages?access_token=key", "{}").status, 503U);
}

TEST_F(RestBackendTest, RefusesAMessageThatTheBrokerWouldDrop) {
    const auto send = [this](std::size_t bodyLength) {
        return ask("POST", "/api/sandbox/messages?access_token=key",
                   R"({"body":")" + std::string(bodyLength, 'x') + "\"}");
    };
    EXPECT_EQ(send(kLargestPayload - 1000).status, 200U);
    EXPECT_EQ(send(kLargestPayload).status, 413U);
    EXPECT_EQ(published_.size(), 1U);
}

TEST_F(RestBackendTest, NeverLogsTheKey) {
    ask("POST", "/api/installations?access_token=key", "{}");
    ask("POST", "/api/installations?access_token=wrong", "{}");
    ASSERT_FALSE(lines_.empty());
    for (const std::string& line : lines_) {
        EXPECT_EQ(line.find("key"), std::string::npos) << line;
    }
}

}  // namespace
}  // namespace xel::sandbox
