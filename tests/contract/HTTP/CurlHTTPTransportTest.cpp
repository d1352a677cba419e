#include <algorithm>
#include <future>
#include <map>
#include <mutex>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "tests/FirstAndLast.h"
#include "tests/contract/HTTP/CurlTransportFixture.h"
#include "tests/contract/HTTP/HTTPTransportContract.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"
#include "tests/contract/Process/NoDescriptors.h"

namespace xel::contract {
namespace {

class CurlSubject {
public:
    HTTPTransport& http() { return http_; }
    NSRunLoop& loop() { return *loop_; }
    bool runUntil(const std::function<bool()>& done) { return driveUntil(*loop_, done); }
    std::string baseURL() { return server_.url(); }
    void serve(const std::string& method, const std::string& path, int status, std::string body) {
        const std::lock_guard lock(mutex_);
        answers_[method + ' ' + path] = {status, std::move(body)};
    }
    std::vector<HTTPRequest> seen() { return server_.received(); }
    std::string refusedURL() { return deafPort_.url(); }

private:
    bool answer(const ReceivedRequest& request, HTTPExchange& exchange) {
        std::pair<int, std::string> answer{404, ""};
        {
            const std::lock_guard lock(mutex_);
            const auto found =
                answers_.find(request.method + ' ' + request.url.substr(0, request.url.find('?')));
            if (found != answers_.end()) {
                answer = found->second;
            }
        }
        return exchange.answer(answer.first, answer.second);
    }

    std::mutex mutex_;
    std::map<std::string, std::pair<int, std::string>> answers_;
    DeafPort deafPort_;
    LocalHTTPServer server_{
        [this](const ReceivedRequest& request, HTTPExchange& exchange) { return answer(request, exchange); }};
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    CurlHTTPTransport http_{loop_};
};

// Many requests

TEST_F(CurlHTTPTransportTest, LaterRequestsWaitUntilEarlierOnesAreThrough) {
    std::promise<void> release;
    LocalHTTPServer server([held = release.get_future().share()](const auto& request, auto& exchange) {
        if (request.url == "/first") {
            held.wait();
        }
        return exchange.answer(200, "");
    });
    makeTransport({.mostAtOnce = 1});
    std::vector<int> statuses;
    for (const char* const path : {"/first", "/second", "/third"}) {
        http_->send({"GET", server.url() + path, {}, ""}, [&](Result<HTTPResponse> result) {
            statuses.push_back(result ? result.value().status : -1);
        });
    }
    ASSERT_TRUE(driveUntil(*loop_, [&] { return !server.received().empty(); }));
    // What the others would have been sent with by now.
    CurlHTTPTransport another(loop_);
    bool isAnswered = false;
    another.send({"GET", server.url() + "/another", {}, ""},
                 [&](const Result<HTTPResponse>&) { isAnswered = true; });
    ASSERT_TRUE(driveUntil(*loop_, [&] { return isAnswered; }));
    EXPECT_EQ(server.received().size(), 2U);
    release.set_value();
    EXPECT_TRUE(driveUntil(*loop_, [&] { return statuses.size() == 3; }));
    EXPECT_EQ(statuses, (std::vector{200, 200, 200}));
    EXPECT_EQ(server.received().back().url, "/third");
}

// Requests and answers

TEST_F(CurlHTTPTransportTest, SendsHeadersAsGivenAndNoneOfItsOwnMaking) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, ""); });
    expectStatus(exchange({"POST", server.url() + "/a", {{"Content-Lenght", "3"}, {"X-Empty", ""}}, "abc"}),
                 200);
    const auto received = server.received();
    ASSERT_EQ(received.size(), 1U);
    std::map<std::string, std::string> headers;
    for (const auto& [name, value] : firstOf(received).headers) {
        headers[name] = value;
    }
    EXPECT_EQ(headers["Content-Lenght"], "3");
    EXPECT_EQ(headers["Content-Length"], "3");
    EXPECT_EQ(headers.count("X-Empty"), 1U);
    EXPECT_EQ(headers.count("Content-Type"), 0U);
    EXPECT_EQ(headers.count("Expect"), 0U);
    EXPECT_EQ(headers["User-Agent"], "XelPushClient");
}

TEST_F(CurlHTTPTransportTest, SendsThePathAsItIsGiven) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, ""); });
    for (const std::string path :
         {"/api/addTag/alice01/.?k=1", "/api/addTag/alice01/..?k=1", "/a/./../b//c"}) {
        expectStatus(get(server.url() + path), 200);
        EXPECT_EQ(lastOf(server.received()).url, path);
    }
}

TEST_F(CurlHTTPTransportTest, SendsTheLengthOfAnEmptyBody) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, ""); });
    for (const char* method : {"POST", "PUT"}) {
        expectStatus(exchange({method, server.url() + "/a", {}, ""}), 200);
        const auto received = lastOf(server.received());
        EXPECT_EQ(received.method, method);
        EXPECT_NE(std::find(received.headers.begin(), received.headers.end(),
                            std::pair<std::string, std::string>("Content-Length", "0")),
                  received.headers.end());
    }
}

TEST_F(CurlHTTPTransportTest, HandsOverTheHeadersOfTheAnswerOnly) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 103 Early Hints\r\nX-Early: 1\r\n\r\n");
        return exchange.answer(200, "{}", {{"X-One", "a"}, {"X-One", "b"}});
    });
    const Outcome outcome = get(server.url() + "/a");
    expectStatus(outcome, 200);
    const HTTPHeaders expected{{"X-One", "a"}, {"X-One", "b"}, {"Content-Length", "2"}};
    EXPECT_EQ(outcome->value().headers, expected);
}

TEST_F(CurlHTTPTransportTest, AsksForNoBodyWithHead) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
        return true;
    });
    const Outcome outcome = exchange({"HEAD", server.url() + "/a", {}, ""});
    expectStatus(outcome, 200);
    EXPECT_EQ(outcome->value().body, "");
}

TEST_F(CurlHTTPTransportTest, UsesAConnectionAgain) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, "{}"); });
    for (int count = 0; count < 3; ++count) {
        expectStatus(get(server.url() + "/a"), 200);
    }
    EXPECT_EQ(server.connectionCount(), 1U);
}

TEST_F(CurlHTTPTransportTest, RefusesWhatWouldBreakTheRequestLineOrTheHeaders) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, ""); });
    const std::string url = server.url() + "/a";
    for (const HTTPRequest& request :
         {HTTPRequest{"GET", url + " HTTP/1.1\r\nX: 1", {}, ""}, HTTPRequest{"GET", url + "/a b", {}, ""},
          HTTPRequest{"GET /evil", url, {}, ""}, HTTPRequest{"", url, {}, ""},
          HTTPRequest{"GET", url, {{"X", "1\r\nY: 2"}}, ""}, HTTPRequest{"GET", url, {{"X Y", "1"}}, ""},
          HTTPRequest{"GET", "", {}, ""}, HTTPRequest{"GET", "push.example/a", {}, ""}}) {
        expectFailure(exchange(request), NSURLErrorCode::BadURL);
    }
    EXPECT_TRUE(server.received().empty());
}

// Broken servers

struct BrokenAnswer {
    const char* name;
    const char* octets;
    NSURLErrorCode expected;
};

class CurlBrokenAnswers : public CurlHTTPTransportTest, public testing::WithParamInterface<BrokenAnswer> {};

TEST_P(CurlBrokenAnswers, AreErrors) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        exchange.writeRaw(GetParam().octets);
        return false;
    });
    expectFailure(get(server.url() + "/a"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Broken, CurlBrokenAnswers,
    testing::Values(BrokenAnswer{"Nothing", "", NSURLErrorCode::NetworkConnectionLost},
                    BrokenAnswer{"HalfAHead", "HTTP/1.1 200 OK\r\nX-One: 1\r\n",
                                 NSURLErrorCode::NetworkConnectionLost},
                    BrokenAnswer{"HalfABody", "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc",
                                 NSURLErrorCode::NetworkConnectionLost},
                    BrokenAnswer{"BadLength", "HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\nabc",
                                 NSURLErrorCode::BadServerResponse},
                    BrokenAnswer{"BadGzip",
                                 "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n"
                                 "Content-Length: 4\r\n\r\nabcd",
                                 NSURLErrorCode::BadServerResponse}),
    [](const auto& test) { return std::string(test.param.name); });

// Names and offline

TEST_F(CurlHTTPTransportTest, TellsANameThatIsNotFoundFromBeingOffline) {
    // RFC 6761: no name below .invalid exists.
    makeTransport({.isOnline = [] { return true; }});
    expectFailure(get("http://push.invalid/a"), NSURLErrorCode::CannotFindHost);
    makeTransport({.isOnline = [] { return false; }});
    expectFailure(get("http://push.invalid/a"), NSURLErrorCode::NotConnectedToInternet);
}

TEST_F(CurlHTTPTransportTest, DoesNotCallTheLoopbackOffline) {
    makeTransport({.isOnline = [] { return false; }});
    expectFailure(get(DeafPort().url() + "/a"), NSURLErrorCode::CannotConnectToHost);
}

// The end

TEST_F(CurlHTTPTransportTest, CancelsWhatIsUnderWayWhenItIsDropped) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) {
        exchange.waitUntilClientIsGone();
        return false;
    });
    makeTransport();
    std::vector<std::int64_t> codes;
    for (int count = 0; count < 3; ++count) {
        http_->send({"GET", server.url() + "/a", {}, ""}, [&codes](const Result<HTTPResponse>& result) {
            codes.push_back(result.isOk() ? 0 : result.error().code);
        });
    }
    http_.reset();
    EXPECT_TRUE(driveUntil(*loop_, [&] { return codes.size() == 3; }));
    EXPECT_EQ(codes, std::vector<std::int64_t>(3, static_cast<std::int64_t>(NSURLErrorCode::Cancelled)));
}

// libcurl would do without the descriptors by which it is woken, and sleep through requests and end.
TEST_F(CurlHTTPTransportTest, IsNotMadeWithoutTheDescriptorsThatItIsWokenBy) {
    SKIP_WHERE_A_SANITIZER_NEEDS_DESCRIPTORS();
    {
        const NoDescriptors limit;
        EXPECT_THROW(makeTransport(), std::runtime_error);
    }
    EXPECT_NO_THROW(makeTransport());
}

TEST_F(CurlHTTPTransportTest, MayBeDroppedInACompletion) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, "{}"); });
    makeTransport();
    bool isDone = false;
    http_->send({"GET", server.url() + "/a", {}, ""}, [&](const Result<HTTPResponse>&) {
        http_.reset();
        isDone = true;
    });
    EXPECT_TRUE(driveUntil(*loop_, [&] { return isDone; }));
}

TEST_F(CurlHTTPTransportTest, DoesNotKeepItsRunLoopAlive) {
    makeTransport();
    const std::weak_ptr<AsioRunLoop> weak = loop_;
    loop_.reset();
    EXPECT_TRUE(weak.expired());
    http_->send({"GET", "http://push.invalid/a", {}, ""},
                [](const Result<HTTPResponse>&) { FAIL() << "there is no loop to call this on"; });
    http_.reset();
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Curl, HTTPTransportContract, CurlSubject);

}  // namespace xel::contract
