#include <string>

#include <gtest/gtest.h>

#include "tests/FirstAndLast.h"
#include "tests/contract/HTTP/CurlTransportFixture.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"

namespace xel::contract {
namespace {

TEST_F(CurlHTTPTransportTest, FollowsARedirectWithinTheOrigin) {
    LocalHTTPServer server([](const ReceivedRequest& request, HTTPExchange& exchange) {
        return request.url == "/new?access_token=k"
                   ? exchange.answer(200, "moved here")
                   : exchange.answer(302, "old", {{"Location", "/new?access_token=k"}, {"X-Old", "1"}});
    });
    const Outcome outcome = get(server.url() + "/old?access_token=k");
    expectStatus(outcome, 200);
    EXPECT_EQ(outcome->value().body, "moved here");
    EXPECT_EQ(outcome->value().headers, (HTTPHeaders{{"Content-Length", "10"}}));
}

TEST_F(CurlHTTPTransportTest, NeverFollowsARedirectToAnotherOrigin) {
    LocalHTTPServer other([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, "stolen"); });
    for (const int status : {301, 302, 303, 307, 308}) {
        LocalHTTPServer server([&](const auto&, HTTPExchange& exchange) {
            return exchange.answer(status, "{}", {{"Location", other.url() + "/x?access_token=k"}});
        });
        expectStatus(exchange({"POST", server.url() + "/a?access_token=k", {{"Authorization", "k"}}, "body"}),
                     status);
    }
    EXPECT_TRUE(other.received().empty());
    // The same server by another name is another origin too.
    LocalHTTPServer server([&](const ReceivedRequest& request, HTTPExchange& exchange) {
        const std::string port = firstOf(request.headers).second.substr(std::string("127.0.0.1").size());
        return exchange.answer(302, "", {{"Location", "http://localhost" + port + "/b"}});
    });
    expectStatus(get(server.url() + "/a"), 302);
    EXPECT_EQ(server.received().size(), 1U);
}

struct RedirectCase {
    int status;
    const char* method;
    const char* expectedMethod;
};

class CurlRedirectMethods : public CurlHTTPTransportTest, public testing::WithParamInterface<RedirectCase> {};

TEST_P(CurlRedirectMethods, AreKeptOrBecomeGet) {
    const auto [status, method, expectedMethod] = GetParam();
    LocalHTTPServer server([answer = status](const ReceivedRequest& request, HTTPExchange& exchange) {
        return request.url == "/new" ? exchange.answer(200, "")
                                     : exchange.answer(answer, "", {{"Location", "/new"}});
    });
    expectStatus(exchange({method, server.url() + "/old", {{"Content-Type", "text/plain"}}, "body"}), 200);
    ASSERT_EQ(server.received().size(), 2U);
    const auto second = server.received().back();
    EXPECT_EQ(second.method, expectedMethod);
    const bool keepsBody = second.method == method;
    EXPECT_EQ(second.body, keepsBody ? "body" : "");
    for (const auto& [name, value] : second.headers) {
        EXPECT_TRUE(keepsBody || name != "Content-Type");
    }
}

INSTANTIATE_TEST_SUITE_P(Redirects, CurlRedirectMethods,
                         testing::Values(RedirectCase{301, "POST", "GET"}, RedirectCase{302, "POST", "GET"},
                                         RedirectCase{303, "POST", "GET"}, RedirectCase{303, "PUT", "GET"},
                                         RedirectCase{301, "PUT", "PUT"}, RedirectCase{302, "PUT", "PUT"},
                                         RedirectCase{307, "POST", "POST"},
                                         RedirectCase{308, "POST", "POST"}));

TEST_F(CurlHTTPTransportTest, GivesUpAfterFiveRedirects) {
    int redirects = 5;
    LocalHTTPServer server([&](const auto&, HTTPExchange& exchange) {
        return redirects-- > 0 ? exchange.answer(302, "", {{"Location", "/again"}})
                               : exchange.answer(200, "");
    });
    expectStatus(get(server.url() + "/a"), 200);
    redirects = 6;
    expectFailure(get(server.url() + "/a"), NSURLErrorCode::HTTPTooManyRedirects);
}

}  // namespace

}  // namespace xel::contract
