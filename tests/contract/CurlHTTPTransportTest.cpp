#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/AsioRunLoop.h"
#include "XelPushClient/Linux/CurlHTTPTransport.h"
#include "tests/contract/HTTPTransportContract.h"
#include "tests/contract/LocalHTTPServer.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

/// A port of the loopback on which nobody listens: bound, so that nobody takes it meanwhile.
class DeafPort {
public:
    DeafPort() : acceptor_(context_) {
        acceptor_.open(boost::asio::ip::tcp::v4());
        acceptor_.bind({boost::asio::ip::address_v4::loopback(), 0});
    }
    [[nodiscard]] std::string url() const {
        return "http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port());
    }

private:
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_;
};

/// Drives a loop on a real context until something has come to pass.
bool driveUntil(AsioRunLoop& loop, const std::function<bool()>& done, std::chrono::seconds patience = 60s) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        loop.scheduleTimer(10ms, [&loop] { loop.stop(); });
        loop.run();
    }
    return true;
}

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

class CurlHTTPTransportTest : public testing::Test {
protected:
    using Outcome = std::optional<Result<HTTPResponse>>;

    void makeTransport(CurlHTTPOptions options = {}) {
        http_ = std::make_unique<CurlHTTPTransport>(loop_, std::move(options));
    }

    [[nodiscard]] Outcome exchange(HTTPRequest request) {
        if (http_ == nullptr) {
            makeTransport();
        }
        const auto outcome = std::make_shared<Outcome>();
        http_->send(std::move(request),
                    [outcome](Result<HTTPResponse> result) { *outcome = std::move(result); });
        EXPECT_TRUE(driveUntil(*loop_, [&] { return outcome->has_value(); }));
        return *outcome;
    }

    [[nodiscard]] Outcome get(const std::string& url) { return exchange({"GET", url, {}, ""}); }

    static void expectFailure(const Outcome& outcome, NSURLErrorCode code) {
        ASSERT_TRUE(outcome.has_value());
        ASSERT_FALSE(outcome->isOk()) << "status " << outcome->value().status;
        EXPECT_EQ(outcome->error().domain, NSURLErrorDomain);
        EXPECT_EQ(outcome->error().code, static_cast<std::int64_t>(code))
            << outcome->error().localizedDescription();
    }

    static void expectStatus(const Outcome& outcome, int status) {
        ASSERT_TRUE(outcome.has_value());
        ASSERT_TRUE(outcome->isOk()) << outcome->error().localizedDescription();
        EXPECT_EQ(outcome->value().status, status);
    }

    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::unique_ptr<CurlHTTPTransport> http_;
};

// Requests and answers

TEST_F(CurlHTTPTransportTest, SendsHeadersAsGivenAndNoneOfItsOwnMaking) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, ""); });
    expectStatus(exchange({"POST", server.url() + "/a", {{"Content-Lenght", "3"}, {"X-Empty", ""}}, "abc"}),
                 200);
    const auto received = server.received();
    ASSERT_EQ(received.size(), 1U);
    std::map<std::string, std::string> headers;
    for (const auto& [name, value] : received.front().headers) {
        headers[name] = value;
    }
    EXPECT_EQ(headers["Content-Lenght"], "3");
    EXPECT_EQ(headers["Content-Length"], "3");
    EXPECT_EQ(headers.count("X-Empty"), 1U);
    EXPECT_EQ(headers.count("Content-Type"), 0U);
    EXPECT_EQ(headers.count("Expect"), 0U);
    EXPECT_EQ(headers["User-Agent"], "XelPushClient");
}

TEST_F(CurlHTTPTransportTest, SendsTheLengthOfAnEmptyBody) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, ""); });
    for (const char* method : {"POST", "PUT"}) {
        expectStatus(exchange({method, server.url() + "/a", {}, ""}), 200);
        const auto received = server.received().back();
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

// Redirects

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
        const std::string port = request.headers.front().second.substr(std::string("127.0.0.1").size());
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

// Bounds

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

/// That many zeros in gzip's format, a thousandth of their size.
std::string compressedZeros(const std::string& count) {
    const auto close = [](FILE* pipe) { return ::pclose(pipe); };
    const std::unique_ptr<FILE, decltype(close)> pipe(
        ::popen(("head -c " + count + " /dev/zero | gzip -c").c_str(), "r"), close);
    std::string out;
    std::array<char, 65536> piece{};
    for (std::size_t size = 1; size > 0;) {
        size = std::fread(piece.data(), 1, piece.size(), pipe.get());
        out.append(piece.data(), size);
    }
    return out;
}

TEST_F(CurlHTTPTransportTest, CutsACompressedAnswerByItsDecodedSize) {
    constexpr std::size_t kLargest = 4UL * 1024 * 1024;
    std::string answer;
    LocalHTTPServer server([&](const auto&, HTTPExchange& exchange) {
        return exchange.answer(200, answer, {{"Content-Encoding", "gzip"}});
    });
    answer = compressedZeros(std::to_string(kLargest));
    const Outcome whole = get(server.url() + "/whole");
    expectStatus(whole, 200);
    EXPECT_EQ(whole->value().body.size(), kLargest);
    for (const std::size_t size : {kLargest + 1, 8 * kLargest}) {
        answer = compressedZeros(std::to_string(size));
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

// TLS

class CurlTLSTest : public CurlHTTPTransportTest {
protected:
    CurlTLSTest() {
        std::string name = (std::filesystem::temp_directory_path() / "xelpush-ca-XXXXXX").string();
        folder_ = ::mkdtemp(name.data());
        caFile_ = folder_ / "ca.pem";
        std::ofstream(caFile_) << authority_.certificate();
    }
    ~CurlTLSTest() override { std::filesystem::remove_all(folder_); }

    [[nodiscard]] Outcome askServerWith(const TestCertificate& certificate,
                                        std::string_view host = "localhost") {
        LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, "{}"); },
                               certificate);
        Outcome outcome = get(server.url(host) + "/a?access_token=s3cret");
        requestsReceived_ = server.received().size();
        return outcome;
    }

    TestAuthority authority_;
    std::filesystem::path folder_;
    std::filesystem::path caFile_;
    std::size_t requestsReceived_ = 0;
};

TEST_F(CurlTLSTest, TrustsTheGivenAuthority) {
    makeTransport({.caFile = caFile_.string()});
    expectStatus(askServerWith(authority_.issue()), 200);
    expectStatus(askServerWith(authority_.issue(), "127.0.0.1"), 200);
}

struct CertificateCase {
    const char* name;
    TestCertificateWish wish;
    bool isSelfSigned;
    const char* cause;
};

class CurlRefusedCertificates : public CurlTLSTest, public testing::WithParamInterface<CertificateCase> {};

TEST_P(CurlRefusedCertificates, AreRefusedBeforeAnythingIsSent) {
    makeTransport({.caFile = caFile_.string()});
    const auto& wish = GetParam().wish;
    const Outcome outcome =
        askServerWith(GetParam().isSelfSigned ? selfSignedCertificate(wish) : authority_.issue(wish));
    expectFailure(outcome, NSURLErrorCode::ServerCertificateUntrusted);
    const std::string text = describeError(outcome->error());
    EXPECT_NE(text.find(GetParam().cause), std::string::npos) << text;
    EXPECT_EQ(text.find("s3cret"), std::string::npos) << text;
    EXPECT_EQ(requestsReceived_, 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Certificates, CurlRefusedCertificates,
    testing::Values(CertificateCase{"Expired", {"localhost", -3, -1}, false, "expired"},
                    CertificateCase{"NotYetValid", {"localhost", 1, 3}, false, "not yet valid"},
                    CertificateCase{"OtherHost", {"push.example", -1, 2}, false, "localhost"},
                    CertificateCase{"SelfSigned", {}, true, "self-signed"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(CurlTLSTest, DoesNotTrustAnAuthorityThatItWasNotGiven) {
    makeTransport();
    expectFailure(askServerWith(authority_.issue()), NSURLErrorCode::ServerCertificateUntrusted);
    EXPECT_EQ(requestsReceived_, 0U);
}

TEST_F(CurlTLSTest, SaysWhenTheCAFileCannotBeRead) {
    makeTransport({.caFile = (folder_ / "missing.pem").string()});
    expectFailure(askServerWith(authority_.issue()), NSURLErrorCode::SecureConnectionFailed);
}

TEST_F(CurlTLSTest, FailsAgainstAServerThatSpeaksNoTLS) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, "{}"); });
    makeTransport({.caFile = caFile_.string()});
    expectFailure(get("https://127.0.0.1:" + std::to_string(server.port()) + "/a"),
                  NSURLErrorCode::SecureConnectionFailed);
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Curl, HTTPTransportContract, CurlSubject);

}  // namespace xel::contract
