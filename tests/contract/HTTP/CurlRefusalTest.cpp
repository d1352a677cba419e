// What libcurl does not take fails, instead of never ending.

#include <atomic>
#include <string>

#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tests/contract/HTTP/CurlTransportFixture.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"

namespace {

/// How many transfers libcurl still takes; below zero, it takes all.
std::atomic<int> transfersLeft = -1;

}  // namespace

/// Stands before libcurl's own, of which there is no other way to make it refuse.
extern "C" CURLMcode curl_multi_add_handle(CURLM* multi, CURL* easy) {
    if (transfersLeft == 0) {
        return CURLM_OUT_OF_MEMORY;
    }
    if (transfersLeft > 0) {
        --transfersLeft;
    }
    using Add = CURLMcode (*)(CURLM*, CURL*);
    static const auto add = reinterpret_cast<Add>(dlsym(RTLD_NEXT, "curl_multi_add_handle"));
    return add(multi, easy);
}

namespace xel::contract {
namespace {

class CurlRefusalTest : public CurlHTTPTransportTest {
protected:
    ~CurlRefusalTest() override { transfersLeft = -1; }

    LocalHTTPServer server_{[](const ReceivedRequest& request, HTTPExchange& exchange) {
        return request.url == "/first" ? exchange.answer(302, "", {{"Location", "/second"}})
                                       : exchange.answer(200, "{}");
    }};
};

TEST_F(CurlRefusalTest, IsAFailureOfTheRequest) {
    transfersLeft = 0;
    const Outcome refused = get(server_.url() + "/second");
    expectFailure(refused, NSURLErrorCode::Unknown);
    EXPECT_NE(refused->error().localizedDescription().find("could not be started"), std::string::npos);
    transfersLeft = -1;
    expectStatus(get(server_.url() + "/second"), 200);
}

TEST_F(CurlRefusalTest, IsAFailureOfTheRequestAlsoOnItsWayThroughARedirect) {
    transfersLeft = 1;
    expectFailure(get(server_.url() + "/first"), NSURLErrorCode::Unknown);
    transfersLeft = -1;
    expectStatus(get(server_.url() + "/first"), 200);
}

}  // namespace
}  // namespace xel::contract
