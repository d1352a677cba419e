#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/LoopBack/SLAFHTTPClient.h"
#include "XelPushClient/Testing/FakeHTTPTransport.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

const std::string* fieldOf(const HTTPRequest& request, std::string_view name) {
    for (const auto& [field, value] : request.headers) {
        if (field == name) {
            return &value;
        }
    }
    return nullptr;
}

class SLAFHTTPClientTest : public testing::Test {
protected:
    [[nodiscard]] HTTPRequest make(std::string_view method, std::string_view path,
                                   const std::optional<Dictionary>& parameters = std::nullopt,
                                   std::string base = "https://push.example/api") const {
        return SLAFHTTPClient::clientWithBaseURL(std::move(base), transport_)
            .requestWithMethod(method, path, parameters);
    }

    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeHTTPTransport> transport_ = std::make_shared<FakeHTTPTransport>(runLoop_);
};

TEST_F(SLAFHTTPClientTest, JoinsBaseAndPathWithOneSlash) {
    for (const char* base : {"https://push.example/api", "https://push.example/api/"}) {
        for (const char* path : {"installations/7", "/installations/7"}) {
            EXPECT_EQ(make("GET", path, std::nullopt, base).url, "https://push.example/api/installations/7");
        }
    }
}

TEST_F(SLAFHTTPClientTest, KeepsThePathAsGivenWithItsQuery) {
    EXPECT_EQ(make("GET", "verification/verifyCode/a%20b/12?access_token=k%26").url,
              "https://push.example/api/verification/verifyCode/a%20b/12?access_token=k%26");
}

TEST_F(SLAFHTTPClientTest, PutsParametersOfReadingMethodsIntoTheQuery) {
    for (const char* method : {"GET", "HEAD", "DELETE"}) {
        const HTTPRequest request = make(method, "a", Dictionary{{"q", "x y"}});
        EXPECT_EQ(request.method, method);
        EXPECT_EQ(request.url, "https://push.example/api/a?q=x%20y");
        EXPECT_EQ(request.body, "");
        EXPECT_EQ(fieldOf(request, "Content-Type"), nullptr);
    }
}

TEST_F(SLAFHTTPClientTest, AddsParametersBehindAQueryThatIsThere) {
    EXPECT_EQ(make("GET", "a?k=1", Dictionary{{"q", "2"}}).url, "https://push.example/api/a?k=1&q=2");
}

TEST_F(SLAFHTTPClientTest, LeavesTheURLAloneForEmptyParameters) {
    EXPECT_EQ(make("GET", "a", Dictionary{}).url, "https://push.example/api/a");
}

TEST_F(SLAFHTTPClientTest, SendsParametersOfWritingMethodsAsAForm) {
    for (const char* method : {"POST", "PUT", "PATCH"}) {
        const HTTPRequest request = make(method, "a", Dictionary{{"q", "x y"}, {"r", 1}});
        EXPECT_EQ(request.url, "https://push.example/api/a");
        EXPECT_EQ(request.body, "q=x%20y&r=1");
        ASSERT_NE(fieldOf(request, "Content-Type"), nullptr);
        EXPECT_EQ(*fieldOf(request, "Content-Type"), "application/x-www-form-urlencoded; charset=utf-8");
    }
}

TEST_F(SLAFHTTPClientTest, AsksForJSON) {
    const HTTPRequest request = make("GET", "a");
    ASSERT_NE(fieldOf(request, "Accept"), nullptr);
    EXPECT_EQ(*fieldOf(request, "Accept"), "application/json");
}

TEST(HTTPHeaderField, IsReplacedWhateverItsLetterCase) {
    HTTPHeaders headers{{"Accept", "a"}, {"content-type", "form"}};
    setHTTPHeaderField(headers, "Content-Type", "application/json");
    setHTTPHeaderField(headers, "Content-Lenght", "12");
    EXPECT_EQ(headers,
              (HTTPHeaders{{"Accept", "a"}, {"content-type", "application/json"}, {"Content-Lenght", "12"}}));
}

class SLAFHTTPRequestOperationTest : public SLAFHTTPClientTest {
protected:
    void startOperation() {
        operation_ = SLAFHTTPClient::clientWithBaseURL("https://push.example/api", transport_)
                         .operationWithRequest(make("GET", "thing"));
        operation_->setCompletionBlock(
            [this](const HTTPResponse& response) { successes_.push_back(response); },
            [this](const NSError& error) { failures_.push_back(error); });
        operation_->start();
    }

    std::shared_ptr<SLAFHTTPRequestOperation> operation_;
    std::vector<HTTPResponse> successes_;
    std::vector<NSError> failures_;
};

TEST_F(SLAFHTTPRequestOperationTest, TakesEveryStatusOf200To299AsSuccess) {
    for (const int status : {200, 204, 299}) {
        transport_->answer("GET", "thing", status, "body");
        startOperation();
        runLoop_->runUntilIdle();
        ASSERT_EQ(successes_.size(), 1U) << status;
        EXPECT_EQ(successes_.back().status, status);
        EXPECT_EQ(successes_.back().body, "body");
        successes_.clear();
    }
    EXPECT_TRUE(failures_.empty());
}

TEST_F(SLAFHTTPRequestOperationTest, ReportsAnyOtherStatusAsBadResponseWithTheBodyAsSuggestion) {
    for (const int status : {199, 300, 302, 404, 500}) {
        transport_->answer("GET", "thing", status, R"({"error": {"status": 404}})");
        startOperation();
        runLoop_->runUntilIdle();
        ASSERT_EQ(failures_.size(), 1U) << status;
        EXPECT_EQ(failures_.back().domain, NSURLErrorDomain);
        EXPECT_EQ(failures_.back().code, -1011);
        EXPECT_EQ(failures_.back().localizedRecoverySuggestion(), R"({"error": {"status": 404}})");
        EXPECT_NE(failures_.back().localizedDescription().find(std::to_string(status)), std::string::npos);
        failures_.clear();
    }
    EXPECT_TRUE(successes_.empty());
}

TEST_F(SLAFHTTPRequestOperationTest, HandsTheTransportsErrorOnUnchanged) {
    transport_->fail("GET", "thing", NSURLErrorCode::TimedOut, "too slow");
    startOperation();
    runLoop_->runUntilIdle();
    ASSERT_EQ(failures_.size(), 1U);
    EXPECT_EQ(failures_.back(), makeError(NSURLErrorDomain, -1001, "too slow"));
    EXPECT_TRUE(successes_.empty());
}

TEST_F(SLAFHTTPRequestOperationTest, IsExecutingBetweenStartAndCompletion) {
    startOperation();
    EXPECT_TRUE(operation_->isExecuting());
    transport_->answer("GET", "thing", 200, "");
    runLoop_->runUntilIdle();
    EXPECT_FALSE(operation_->isExecuting());
}

TEST_F(SLAFHTTPRequestOperationTest, SendsOnceHoweverOftenItIsStarted) {
    startOperation();
    operation_->start();
    transport_->answer("GET", "thing", 200, "");
    runLoop_->runUntilIdle();
    operation_->start();
    runLoop_->runUntilIdle();
    EXPECT_EQ(transport_->requests().size(), 1U);
    EXPECT_EQ(successes_.size(), 1U);
}

TEST_F(SLAFHTTPRequestOperationTest, CompletesAlsoWhenItsHolderDroppedIt) {
    startOperation();
    operation_.reset();
    transport_->answer("GET", "thing", 200, "");
    runLoop_->runUntilIdle();
    EXPECT_EQ(successes_.size(), 1U);
}

TEST_F(SLAFHTTPRequestOperationTest, NeedsNoCompletionBlocks) {
    const auto client = SLAFHTTPClient::clientWithBaseURL("https://push.example/api", transport_);
    for (const int status : {200, 500}) {
        transport_->answer("GET", "thing", status, "");
        client.operationWithRequest(make("GET", "thing"))->start();
    }
    transport_->fail("GET", "thing", NSURLErrorCode::TimedOut, "");
    client.operationWithRequest(make("GET", "thing"))->start();
    EXPECT_NO_THROW(runLoop_->runUntilIdle());
}

TEST_F(SLAFHTTPRequestOperationTest, LetsGoOfItsBlocksAfterTheCompletion) {
    startOperation();
    auto token = std::make_shared<int>(0);
    operation_->setCompletionBlock([token](const HTTPResponse&) {}, [token](const NSError&) {});
    transport_->answer("GET", "thing", 200, "");
    runLoop_->runUntilIdle();
    EXPECT_EQ(token.use_count(), 1);
}

TEST_F(SLAFHTTPRequestOperationTest, LeavesTheTransportToItsOwnerWhileInFlight) {
    auto transport = std::make_shared<FakeHTTPTransport>(runLoop_);
    const std::weak_ptr<FakeHTTPTransport> life = transport;
    SLAFHTTPClient::clientWithBaseURL("https://push.example/api", std::exchange(transport, nullptr))
        .operationWithRequest(make("GET", "thing"))
        ->start();
    EXPECT_TRUE(life.expired());
}

}  // namespace
}  // namespace xel
