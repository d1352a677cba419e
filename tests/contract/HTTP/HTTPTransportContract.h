#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/HTTPTransport.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel::contract {

/// What every HTTP transport owes. A subject is default constructible, runs a server of its own, and has
/// - `HTTPTransport& http()`, `NSRunLoop& loop()`;
/// - `bool runUntil(std::function<bool()> done)`: drives the loop until done; false: it never was;
/// - `std::string baseURL()`: the server's, without a slash at its end;
/// - `void serve(std::string method, std::string path, int status, std::string body)`: answers all such
///   requests;
/// - `std::vector<HTTPRequest> seen()`: what the server received; headers may be left out;
/// - `std::string refusedURL()`: a URL where nobody listens, without a query.
template <class Subject>
class HTTPTransportContract : public ::testing::Test {
protected:
    using Outcome = std::shared_ptr<std::optional<Result<HTTPResponse>>>;

    /// Sends and waits. Fails the test when the completion comes twice, inside `send` or off the loop.
    [[nodiscard]] Outcome exchange(HTTPRequest request) {
        const auto outcome = std::make_shared<std::optional<Result<HTTPResponse>>>();
        const auto count = std::make_shared<int>(0);
        subject_.http().send(std::move(request), [this, outcome, count](Result<HTTPResponse> result) {
            ++*count;
            EXPECT_TRUE(subject_.loop().isCurrent());
            *outcome = std::move(result);
        });
        EXPECT_EQ(*count, 0) << "completed inside send";
        EXPECT_TRUE(subject_.runUntil([&] { return outcome->has_value(); }));
        EXPECT_EQ(*count, 1);
        return outcome;
    }

    Subject subject_;
};

TYPED_TEST_SUITE_P(HTTPTransportContract);

TYPED_TEST_P(HTTPTransportContract, AnswersWithTheResponseWhateverItsStatus) {
    for (const int status : {200, 201, 204, 401, 404, 500, 503}) {
        const std::string path = "/api/status/" + std::to_string(status);
        const std::string body = status == 204 ? "" : "{\"status\":" + std::to_string(status) + "}";
        this->subject_.serve("GET", path, status, body);
        const auto outcome = this->exchange({"GET", this->subject_.baseURL() + path, {}, ""});
        ASSERT_TRUE(outcome->has_value());
        ASSERT_TRUE((*outcome)->isOk()) << status << ": " << (*outcome)->error().localizedDescription();
        EXPECT_EQ((*outcome)->value().status, status);
        EXPECT_EQ((*outcome)->value().body, body);
    }
}

TYPED_TEST_P(HTTPTransportContract, CarriesMethodPathQueryAndBody) {
    struct Case {
        std::string method;
        std::string body;
    };
    for (const auto& [method, body] : std::vector<Case>{{"POST", "{\"a\":\"gr\xC3\xBC\xC3\x9F\"}"},
                                                        {"PUT", std::string(70'000, 'x')},
                                                        {"DELETE", ""},
                                                        {"GET", ""}}) {
        const std::string path = "/api/carried/" + method;
        this->subject_.serve(method, path, 200, "{}");
        const HTTPHeaders headers{{"Content-Type", "application/json"}};
        const auto url = this->subject_.baseURL() + path + "?access_token=k%20y";
        const auto outcome = this->exchange({method, url, headers, body});
        ASSERT_TRUE(outcome->has_value());
        ASSERT_TRUE((*outcome)->isOk()) << method << ": " << (*outcome)->error().localizedDescription();
        const auto seen = this->subject_.seen();
        ASSERT_FALSE(seen.empty());
        EXPECT_EQ(seen.back().method, method);
        EXPECT_TRUE(seen.back().url.ends_with(path + "?access_token=k%20y")) << seen.back().url;
        EXPECT_EQ(seen.back().body, body);
    }
}

TYPED_TEST_P(HTTPTransportContract, AnswersAnErrorWithoutTheQueryWhereNobodyListens) {
    const auto outcome =
        this->exchange({"GET", this->subject_.refusedURL() + "?access_token=secret", {}, ""});
    ASSERT_TRUE(outcome->has_value());
    ASSERT_FALSE((*outcome)->isOk());
    const auto& error = (*outcome)->error();
    EXPECT_EQ(error.domain, NSURLErrorDomain);
    EXPECT_EQ(error.code, static_cast<std::int64_t>(NSURLErrorCode::CannotConnectToHost));
    EXPECT_EQ(describeError(error).find("secret"), std::string::npos) << describeError(error);
}

TYPED_TEST_P(HTTPTransportContract, RefusesEverySchemeButHttpAndHttps) {
    for (const auto* url :
         {"ftp://host/file?access_token=secret", "file:///etc/hostname", "gopher://host/"}) {
        const auto outcome = this->exchange({"GET", url, {}, ""});
        ASSERT_TRUE(outcome->has_value());
        ASSERT_FALSE((*outcome)->isOk()) << url;
        EXPECT_EQ((*outcome)->error().domain, NSURLErrorDomain);
        EXPECT_EQ((*outcome)->error().code, static_cast<std::int64_t>(NSURLErrorCode::UnsupportedURL)) << url;
        EXPECT_EQ(describeError((*outcome)->error()).find("secret"), std::string::npos);
    }
}

TYPED_TEST_P(HTTPTransportContract, CompletesOnTheLoopWhatAnotherThreadSends) {
    this->subject_.serve("GET", "/api/elsewhere", 200, "{}");
    const auto url = this->subject_.baseURL() + "/api/elsewhere";
    const auto threadOfCompletion = std::make_shared<std::optional<std::thread::id>>();
    std::thread sender([&] {
        this->subject_.http().send({"GET", url, {}, ""}, [threadOfCompletion](const Result<HTTPResponse>&) {
            *threadOfCompletion = std::this_thread::get_id();
        });
    });
    sender.join();
    EXPECT_TRUE(this->subject_.runUntil([&] { return threadOfCompletion->has_value(); }));
    EXPECT_EQ(*threadOfCompletion, std::this_thread::get_id());
}

TYPED_TEST_P(HTTPTransportContract, CarriesSeveralRequestsAtOnce) {
    std::vector<int> statuses;
    for (const int status : {200, 201, 404}) {
        const std::string path = "/api/several/" + std::to_string(status);
        this->subject_.serve("GET", path, status, "{}");
        this->subject_.http().send({"GET", this->subject_.baseURL() + path, {}, ""},
                                   [&statuses](const Result<HTTPResponse>& result) {
                                       statuses.push_back(result.isOk() ? result.value().status : -1);
                                   });
    }
    EXPECT_TRUE(this->subject_.runUntil([&] { return statuses.size() == 3; }));
    std::sort(statuses.begin(), statuses.end());
    EXPECT_EQ(statuses, (std::vector<int>{200, 201, 404}));
}

REGISTER_TYPED_TEST_SUITE_P(HTTPTransportContract, AnswersWithTheResponseWhateverItsStatus,
                            CarriesMethodPathQueryAndBody, AnswersAnErrorWithoutTheQueryWhereNobodyListens,
                            RefusesEverySchemeButHttpAndHttps, CompletesOnTheLoopWhatAnotherThreadSends,
                            CarriesSeveralRequestsAtOnce);

}  // namespace xel::contract
