#include <chrono>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/contract/HTTP/CompressedZeros.h"
#include "tests/contract/HTTP/CurlTransportFixture.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

TEST_F(CurlHTTPTransportTest, TakesAnAnswerUpToTheLargestAllowed) {
    makeTransport({.largestAnswer = 1000});
    LocalHTTPServer server([](const ReceivedRequest& request, HTTPExchange& exchange) {
        return exchange.answer(200, std::string(std::stoul(request.url.substr(1)), 'x'));
    });
    expectStatus(get(server.url() + "/1000"), 200);
    expectFailure(get(server.url() + "/1001"), NSURLErrorCode::DataLengthExceedsMaximum);
}

TEST_F(CurlHTTPTransportTest, CutsAnAnswerWithoutAnAnnouncedLength) {
    makeTransport({.largestAnswer = 100'000});
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
        while (exchange.writeRaw(std::string(10'000, 'x'))) {}
        return false;
    });
    expectFailure(get(server.url() + "/endless"), NSURLErrorCode::DataLengthExceedsMaximum);
}

TEST_F(CurlHTTPTransportTest, CutsACompressedAnswerByItsDecodedSize) {
    constexpr std::size_t kLargest = 4UL * 1024 * 1024;
    std::string answer;
    LocalHTTPServer server([&](const auto&, HTTPExchange& exchange) {
        return exchange.answer(200, answer, {{"Content-Encoding", "gzip"}});
    });
    answer = compressedZeros(kLargest);
    const Outcome whole = get(server.url() + "/whole");
    expectStatus(whole, 200);
    EXPECT_EQ(whole->value().body.size(), kLargest);
    for (const std::size_t size : {kLargest + 1, 8 * kLargest}) {
        answer = compressedZeros(size);
        ASSERT_LT(answer.size(), kLargest / 10) << "what travels is small";
        expectFailure(get(server.url() + "/bomb"), NSURLErrorCode::DataLengthExceedsMaximum);
    }
}

TEST_F(CurlHTTPTransportTest, CutsEndlessHeaders) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 200 OK\r\n");
        while (exchange.writeRaw("X-More: " + std::string(1000, 'x') + "\r\n")) {}
        return false;
    });
    expectFailure(get(server.url() + "/endless"), NSURLErrorCode::DataLengthExceedsMaximum);
}

TEST_F(CurlHTTPTransportTest, TimesOutWhenTheServerKeepsSilent) {
    makeTransport({.totalTimeout = 200ms});
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        exchange.waitUntilClientIsGone();
        return false;
    });
    const Outcome outcome = get(server.url() + "/silent/path?access_token=s3cret");
    expectFailure(outcome, NSURLErrorCode::TimedOut);
    const std::string text = describeError(outcome->error());
    EXPECT_EQ(text.find("s3cret"), std::string::npos) << text;
    EXPECT_EQ(text.find("silent"), std::string::npos) << text;
    EXPECT_NE(text.find(server.url()), std::string::npos) << text;
}

TEST_F(CurlHTTPTransportTest, CountsRedirectsIntoTheTotalTime) {
    makeTransport({.totalTimeout = 400ms, .mostRedirects = 1000});
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        std::this_thread::sleep_for(50ms);  // a slow server, not a wait of the test
        return exchange.answer(302, "", {{"Location", "/again"}});
    });
    expectFailure(get(server.url() + "/a"), NSURLErrorCode::TimedOut);
    EXPECT_LT(server.received().size(), 20U);
}

TEST_F(CurlHTTPTransportTest, GivesATrickleUp) {
    makeTransport({.lowSpeedOctetsPerSecond = 1000, .lowSpeedPeriod = 1s});
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\nx");
        exchange.waitUntilClientIsGone();
        return false;
    });
    const auto begin = std::chrono::steady_clock::now();
    expectFailure(get(server.url() + "/a"), NSURLErrorCode::TimedOut);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 50s) << "the total time-out is 60 s";
}

}  // namespace

}  // namespace xel::contract
