#include <algorithm>

#include "XelPushClient/LoopBack/LBRESTAdapter.h"
#include "tests/unit/LoopBack/LoopBackTest.h"

namespace xel {
namespace {

class LBRESTAdapterTest : public LoopBackTest {
protected:
    void send(std::string_view method, std::string_view path,
              const std::optional<Dictionary>& body = std::nullopt) {
        adapter_->send(
            method, path, body, [this](const Value& answer) { answers_.push_back(answer); },
            [this](const NSError& error) { failures_.push_back(error); });
    }
};

TEST_F(LBRESTAdapterTest, KeepsItsURL) {
    EXPECT_EQ(adapter_->url(), "https://shop.push.example/api");
}

TEST_F(LBRESTAdapterTest, SendsTheTokenEncodedInTheQuery) {
    send("GET", "things");
    EXPECT_EQ(onlyRequest().url, "https://shop.push.example/api/things?access_token=key%261");
}

TEST_F(LBRESTAdapterTest, AddsTheTokenBehindAQueryThatIsThere) {
    send("GET", "things?x=1");
    EXPECT_EQ(onlyRequest().url, "https://shop.push.example/api/things?x=1&access_token=key%261");
}

TEST_F(LBRESTAdapterTest, SendsNoTokenWhenItHasNone) {
    adapter_->setAccessToken(std::nullopt);
    send("GET", "things");
    EXPECT_EQ(onlyRequest().url, "https://shop.push.example/api/things");
}

TEST_F(LBRESTAdapterTest, SendsABodyAsJSONOnOneLine) {
    send("POST", "things", Dictionary{{"b", 1}, {"a", Array{"x\n", true}}});
    const HTTPRequest request = onlyRequest();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, R"({"b":1,"a":["x\n",true]})");
    EXPECT_NE(std::find(request.headers.begin(), request.headers.end(),
                        std::pair<std::string, std::string>("Content-Type", "application/json")),
              request.headers.end());
}

TEST_F(LBRESTAdapterTest, SendsAnEmptyBodyForNone) {
    send("POST", "things");
    EXPECT_EQ(onlyRequest().body, "");
}

TEST_F(LBRESTAdapterTest, HandsTheParsedAnswerOver) {
    transport_->answer("GET", "things", 200, R"({"id": "7", "n": [1]})");
    send("GET", "things");
    runLoop_->runUntilIdle();
    ASSERT_EQ(answers_.size(), 1U);
    EXPECT_EQ(answers_.front(), Value(Dictionary{{"id", "7"}, {"n", Array{1}}}));
    EXPECT_TRUE(failures_.empty());
}

TEST_F(LBRESTAdapterTest, HandsNullOverForAnEmptyAnswer) {
    transport_->answer("DELETE", "things", 204, "");
    send("DELETE", "things");
    runLoop_->runUntilIdle();
    ASSERT_EQ(answers_.size(), 1U);
    EXPECT_TRUE(answers_.front().isNull());
}

TEST_F(LBRESTAdapterTest, FailsForAnAnswerThatIsNotJSON) {
    transport_->answer("GET", "things", 200, "<html>");
    send("GET", "things");
    runLoop_->runUntilIdle();
    EXPECT_TRUE(answers_.empty());
    ASSERT_EQ(failures_.size(), 1U);
    EXPECT_EQ(failures_.front().domain, NSURLErrorDomain);
    EXPECT_EQ(failures_.front().code, -1011);
    EXPECT_EQ(failures_.front().localizedRecoverySuggestion(), "<html>");
}

TEST_F(LBRESTAdapterTest, FailsForARefusalWithItsBodyAsSuggestion) {
    transport_->answer("PUT", "things", 404, R"({"error": {"status": 404}})");
    send("PUT", "things");
    runLoop_->runUntilIdle();
    ASSERT_EQ(failures_.size(), 1U);
    EXPECT_EQ(failures_.front().code, -1011);
    EXPECT_EQ(failures_.front().localizedRecoverySuggestion(), R"({"error": {"status": 404}})");
}

TEST_F(LBRESTAdapterTest, MayBeDroppedWhileARequestIsOut) {
    send("GET", "things");
    adapter_.reset();
    transport_->answer("GET", "things", 200, "[]");
    runLoop_->runUntilIdle();
    EXPECT_EQ(answers_.size(), 1U);
}

TEST_F(LBRESTAdapterTest, NeedsNoCompletions) {
    for (const char* body : {"{}", "", "<"}) {
        transport_->answer("GET", "things", 200, body);
        adapter_->send("GET", "things", std::nullopt, nullptr, nullptr);
    }
    transport_->answer("GET", "things", 500, "");
    adapter_->send("GET", "things", std::nullopt, nullptr, nullptr);
    EXPECT_NO_THROW(runLoop_->runUntilIdle());
}

}  // namespace
}  // namespace xel
