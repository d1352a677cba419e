#include <limits>

#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class RestRequestsTest : public RoomsTest {
protected:
    void ask(const std::optional<std::string>& method, const std::string& path,
             const std::optional<Dictionary>& parameters = std::nullopt) {
        rooms_->requests.requestMethod(
            method, path, parameters,
            [this](const Value& response) { heard_->push_back("success " + describeValue(response)); },
            [this](const NSError& error) {
                failure_ = error;
                heard_->push_back(formatted("failure %@ %d", error.domain, error.code));
            });
    }
    [[nodiscard]] HTTPRequest onlyRequest() {
        const auto requests = machine_.http->requests();
        EXPECT_THAT(requests, SizeIs(1));
        machine_.http->clearRequests();
        return requests.empty() ? HTTPRequest() : requests.front();
    }
    [[nodiscard]] static std::string header(const HTTPRequest& request, std::string_view name) {
        for (const auto& [field, value] : request.headers) {
            if (field == name) {
                return value;
            }
        }
        return "(none)";
    }

    std::optional<NSError> failure_;
};

TEST_F(RestRequestsTest, SendNothingWithoutAMethod) {
    switchLogOn();
    ask("", "things", Dictionary{{"a", 1}});
    ask(std::nullopt, "things");
    machine_.runUntilIdle();
    EXPECT_THAT(takeLog(), ElementsAre("Method name should have value.", "Method name should have value."));
    EXPECT_THAT(takeHeard(), IsEmpty());
    EXPECT_THAT(machine_.http->requests(), IsEmpty());
}

TEST_F(RestRequestsTest, PostParametersAsPrettyJSONWithTheOddHeader) {
    const Dictionary parameters{{"name", "gr\xC3\xBC\xC3\x9F"}, {"n", 1}};
    ask("post", "things?access_token=key", parameters);
    const auto request = onlyRequest();
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.body, "{\n  \"name\" : \"gr\xC3\xBC\xC3\x9F\",\n  \"n\" : 1\n}");
    EXPECT_EQ(header(request, "Content-Lenght"), std::to_string(request.body.size()));
    EXPECT_EQ(header(request, "Content-Lenght"), "34");
    EXPECT_EQ(header(request, "Content-Type"), "application/json");
    EXPECT_TRUE(request.url.ends_with("/api/things?access_token=key")) << request.url;
}

TEST_F(RestRequestsTest, CarryParametersOfOtherMethodsAsTheClientDoes) {
    ask("get", "things?access_token=key", Dictionary{{"a", "b c"}});
    auto request = onlyRequest();
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.body, "");
    EXPECT_TRUE(request.url.ends_with("things?access_token=key&a=b%20c")) << request.url;
    EXPECT_EQ(header(request, "Content-Lenght"), "(none)");

    ask("put", "things", Dictionary{{"a", 1}});
    request = onlyRequest();
    EXPECT_EQ(request.method, "PUT");
    EXPECT_EQ(request.body, "a=1");
    EXPECT_EQ(header(request, "Content-Lenght"), "(none)");

    ask("POST", "things");
    request = onlyRequest();
    EXPECT_EQ(request.body, "");
    EXPECT_EQ(header(request, "Content-Lenght"), "(none)");

    ask("POST", "things", Dictionary());
    request = onlyRequest();
    EXPECT_EQ(request.body, "{}");
    EXPECT_EQ(header(request, "Content-Lenght"), "2");
}

TEST_F(RestRequestsTest, AlwaysGoByHTTPSToTheEnvironmentsBackend) {
    registerApplication();
    rooms_->settings.setUsingSSLConnection(false);
    ask("GET", "things");
    EXPECT_EQ(onlyRequest().url, "https://a1b2c3.push.xelpush.example/api/things");
    setDevelopmentEnvironment(true);
    ask("GET", "things");
    EXPECT_EQ(onlyRequest().url, "https://localhost:8443/api/things");
    setDevelopmentEnvironment(false);
    changeApplication([](auto& application) { application.appId = "tavrin-demo"; });
    ask("GET", "things");
    EXPECT_EQ(onlyRequest().url, "https://push.xelpush.example/api/things");
    EXPECT_FALSE(rooms_->settings.usingSSLConnection()) << "and leave the broker's switch alone";
}

TEST_F(RestRequestsTest, HandTheParsedAnswerOn) {
    switchLogOn();
    for (const std::string answer : {R"({"a":1})", "[1,2]", "true"}) {
        machine_.http->answer("GET", "things", 200, answer);
        ask("GET", "things");
        machine_.runUntilIdle();
        EXPECT_THAT(takeHeard(), ElementsAre("success " + answer));
        EXPECT_THAT(takeLog(), ElementsAre("Request response has contain : " + answer));
    }
}

TEST_F(RestRequestsTest, FailForAnAnswerThatIsNotJSON) {
    switchLogOn();
    for (const std::string answer : {"", "<html>", "{", "\"\xFF\"", "{} {}"}) {
        machine_.http->answer("GET", "things", 200, answer);
        ask("GET", "things");
        machine_.runUntilIdle();
        const auto parseError = machine_.json->JSONObjectWithData(answer);
        ASSERT_FALSE(parseError.isOk());
        EXPECT_EQ(failure_, parseError.error());
        EXPECT_THAT(takeHeard(), SizeIs(1));
        EXPECT_THAT(takeLog(), ElementsAre("Request response has contain : (null)"));
    }
}

TEST_F(RestRequestsTest, HandFailuresOnAsTheyAre) {
    switchLogOn();
    const NSURLErrorCode codes[] = {NSURLErrorCode::TimedOut,
                                    NSURLErrorCode::CannotConnectToHost,
                                    NSURLErrorCode::NetworkConnectionLost,
                                    NSURLErrorCode::NotConnectedToInternet,
                                    NSURLErrorCode::DataNotAllowed,
                                    NSURLErrorCode::Cancelled};
    for (const auto code : codes) {
        machine_.http->fail("GET", "things", code, "no luck");
        ask("GET", "things");
        machine_.runUntilIdle();
        EXPECT_THAT(takeHeard(),
                    ElementsAre(formatted("failure NSURLErrorDomain %d", static_cast<std::int64_t>(code))));
        EXPECT_THAT(takeLog(), ElementsAre("Request reponse Error no luck"));
    }
}

TEST_F(RestRequestsTest, PutTheBodyOfAnErrorAnswerUnderTheRecoverySuggestion) {
    for (const int status : {199, 301, 400, 401, 404, 500, 503}) {
        machine_.http->answer("GET", "things", status, R"({"error":"why"})");
        ask("GET", "things");
        machine_.runUntilIdle();
        EXPECT_THAT(takeHeard(), ElementsAre("failure NSURLErrorDomain -1011")) << status;
        EXPECT_EQ(failure_->localizedRecoverySuggestion(), R"({"error":"why"})");
    }
}

TEST_F(RestRequestsTest, SendNoParametersThatJSONCannotCarry) {
    switchLogOn();
    ask("POST", "things", Dictionary{{"a", std::numeric_limits<double>::infinity()}});
    machine_.runUntilIdle();
    EXPECT_THAT(takeLog(), ElementsAre("#### Could not serialization dictionary to Data ####"));
    EXPECT_THAT(takeHeard(), ElementsAre("failure InvalidParameter -5002"));
    EXPECT_THAT(machine_.http->requests(), IsEmpty());
    rooms_->requests.requestMethod("POST", "things", Dictionary{{"a", "\xFF"}}, nullptr, nullptr);
    EXPECT_THAT(machine_.http->requests(), IsEmpty());
}

TEST_F(RestRequestsTest, DoWithoutBlocks) {
    machine_.http->answer("GET", "things", 200, "{}");
    machine_.http->answer("GET", "things", 200, "no JSON");
    machine_.http->answer("GET", "things", 500, "");
    for (int i = 0; i < 3; ++i) {
        rooms_->requests.requestMethod("GET", "things", std::nullopt, nullptr, nullptr);
    }
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), IsEmpty());
    EXPECT_EQ(machine_.http->waitingCount(), 0U);
}

TEST_F(RestRequestsTest, AnswerAlsoWhenTheClientIsGone) {
    switchLogOn();
    ask("GET", "things");
    ask("GET", "others");
    rooms_->verification.requestVerificationCode("alice01");
    rooms_.reset();
    machine_.logSink->clear();
    machine_.http->answer("GET", "things", 200, "{}");
    machine_.http->fail("GET", "others", NSURLErrorCode::TimedOut, "");
    machine_.runUntilIdle();
    EXPECT_THAT(takeHeard(), ElementsAre("success {}", "failure NSURLErrorDomain -1001"));
    EXPECT_THAT(takeLog(), IsEmpty());
}

}  // namespace
}  // namespace xel
