// What a backend may answer to a registration, from a real server over TLS, until it answers as it should.

#include <atomic>
#include <chrono>
#include <cstddef>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "tests/contract/HTTP/CompressedZeros.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"
#include "tests/contract/Stream/TestCertificates.h"
#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/ScriptedBroker.h"

namespace xel::matrix {
namespace {

using namespace std::chrono_literals;
using contract::HTTPExchange;
using contract::LocalHTTPServer;
using contract::ReceivedRequest;

/// A client that registers at a backend whose first answer is the row's, and whose others are right.
class Backend : public testing::Test {
protected:
    using Play = std::function<bool(HTTPExchange& exchange)>;

    void start(Play first, const CurlHTTPOptions& limits = {}) {
        std::ofstream(caFile_) << authority_.certificate();
        first_ = std::move(first);
        server_ = std::make_unique<LocalHTTPServer>(
            [this](const ReceivedRequest& /*request*/, HTTPExchange& exchange) {
                return requests_++ == 0 ? first_(exchange) : exchange.answer(200, R"({"id":"D3V1CE"})");
            },
            authority_.issue());
        MatrixClientOptions options;
        options.port = broker_.port();
        options.caFile = caFile_;
        options.restUrl = server_->url("localhost") + "/api";
        options.loop = loop_;
        options.change = [&](Machine& machine) {
            CurlHTTPOptions http = limits;
            http.caFile = caFile_;
            machine.http = std::make_shared<CurlHTTPTransport>(loop_, http);
        };
        client_ = std::make_unique<MatrixClient>(options);
        client_->push().registerApplication("a1b2c3", "s3cret-key", "user", "s3cret-password");
    }

    void expectFailure(std::string_view words) {
        EXPECT_TRUE(client_->push().registerUser("alice01"));
        ASSERT_TRUE(client_->runUntil(
            [&] { return !client_->registrationErrors.empty() || client_->registrations > 0; }));
        ASSERT_EQ(client_->registrations, 0);
        ASSERT_EQ(client_->registrationErrors.size(), 1U);
        EXPECT_FALSE(client_->push().isRegistered());
        const std::string text = describeError(*client_->push().failureError());
        EXPECT_NE(text.find(words), std::string::npos) << text;
        EXPECT_EQ(text.find("s3cret"), std::string::npos) << text;
        EXPECT_TRUE(client_->states.empty()) << "nothing is to be connected yet";
    }

    void expectNothing() {
        EXPECT_TRUE(client_->push().registerUser("alice01"));
        ASSERT_TRUE(client_->runUntil([&] { return requests_ > 0; }));
        client_->runFor(100ms);
        EXPECT_FALSE(client_->push().isRegistered());
        EXPECT_TRUE(client_->states.empty());
    }

    void expectHealing() {
        EXPECT_TRUE(client_->push().registerUser("alice01"));
        EXPECT_TRUE(
            client_->healUntil([&] { return client_->registrations == 1 && client_->isConnected(); }));
        EXPECT_EQ(client_->push().deviceId(), "D3V1CE");
    }

    contract::TestAuthority authority_;
    contract::TemporaryFolder folder_;
    std::string caFile_ = folder_.path() + "/ca.pem";
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    ScriptedBroker broker_{loop_->ioContext(), {}};
    Play first_;
    std::atomic<int> requests_ = 0;
    std::unique_ptr<LocalHTTPServer> server_;
    std::unique_ptr<MatrixClient> client_;
};

class BackendStatus : public Backend, public testing::WithParamInterface<int> {};

TEST_P(BackendStatus, IsAFailureThatNamesItAndHeals) {
    const int status = GetParam();
    start([status](HTTPExchange& exchange) { return exchange.answer(status, R"({"error":"no"})"); });
    expectFailure("Expected a status of 200 to 299, got " + std::to_string(status));
    expectHealing();
}

INSTANTIATE_TEST_SUITE_P(Refused, BackendStatus,
                         testing::Values(300, 304, 305, 400, 401, 402, 403, 404, 405, 406, 408, 409, 410, 411,
                                         412, 413, 414, 415, 418, 421, 422, 426, 429, 431, 451, 500, 501, 502,
                                         503, 504, 505, 507, 511, 599, 600, 999),
                         [](const auto& row) { return "Status" + std::to_string(row.param); });

struct AnswerRow {
    const char* name;
    std::string_view octets;
    const char* words;
};

class BackendAnswer : public Backend, public testing::WithParamInterface<AnswerRow> {};

TEST_P(BackendAnswer, IsAFailureWithAWordAndHeals) {
    start([](HTTPExchange& exchange) {
        exchange.writeRaw(GetParam().octets);
        return false;
    });
    expectFailure(GetParam().words);
    expectHealing();
}

constexpr const char* kLost = "-1005";
constexpr const char* kBadAnswer = "-1011";
constexpr AnswerRow kAnswers[] = {
    {"Nothing", "", kLost},
    {"HalfAStatusLine", "HTTP/1.1 20", kLost},
    {"NoEndOfTheHead", "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n", kLost},
    {"HalfABody", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{\"id\":\"D1\"}", kLost},
    {"HalfAChunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n50\r\n{\"id\":\"D1\"}", kLost},
    {"NoLastChunk", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\na\r\n{\"id\":\"D\"}\r\n", kLost},
    {"ChunkWithoutALength", "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n{}\r\n0\r\n\r\n", ""},
    {"ChunkOfAHugeLength",
     "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nffffffffffffffffff\r\n{}\r\n0\r\n\r\n", ""},
    {"NegativeLength", "HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\n{}", kBadAnswer},
    {"LengthOverTheLimit", "HTTP/1.1 200 OK\r\nContent-Length: 999999999999\r\n\r\n{}", "-1103"},
    {"BrokenGzip", "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 4\r\n\r\nabcd", kBadAnswer},
    {"OldProtocolWithoutAHead", "{\"id\":\"D1\"}", ""},
    {"AnotherProtocol", "220 mail.example ESMTP\r\n", ""},
    {"StatusThatIsNoNumber", "HTTP/1.1 abc OK\r\nContent-Length: 2\r\n\r\n{}", ""},
    {"PrefaceOfHTTP2", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", ""},
    {"NoJSON", "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\n<html>", ""},
    {"HalfAJSON", "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\n{\"id\":", ""},
    {"JSONThatIsNotUTF8", "HTTP/1.1 200 OK\r\nContent-Length: 11\r\n\r\n{\"id\":\"\xff\xfe\"}", ""},
    {"RedirectToAnotherHost",
     "HTTP/1.1 302 Found\r\nLocation: https://push.invalid/\r\nContent-Length: 0\r\n\r\n", "got 302"},
    {"RedirectOutOfTLS", "HTTP/1.1 307 T\r\nLocation: http://localhost/\r\nContent-Length: 0\r\n\r\n",
     "got 307"},
    {"RedirectToAFile", "HTTP/1.1 301 M\r\nLocation: file:///etc/passwd\r\nContent-Length: 0\r\n\r\n",
     "got 301"},
    {"RedirectToAnotherPort", "HTTP/1.1 308 P\r\nLocation: https://localhost:1/\r\nContent-Length: 0\r\n\r\n",
     "got 308"},
    {"RedirectToGarbage", "HTTP/1.1 302 F\r\nLocation: https://[::1\r\nContent-Length: 0\r\n\r\n", ""},
    {"RedirectWithoutALocation", "HTTP/1.1 302 Found\r\nContent-Length: 0\r\n\r\n", "got 302"},
};
INSTANTIATE_TEST_SUITE_P(Broken, BackendAnswer, testing::ValuesIn(kAnswers),
                         [](const auto& row) { return std::string(row.param.name); });

class BackendBody : public Backend, public testing::WithParamInterface<AnswerRow> {};

TEST_P(BackendBody, RegistersNobodyWithoutAnIdAndHeals) {
    start([](HTTPExchange& exchange) { return exchange.answer(200, GetParam().octets); });
    expectNothing();
    expectHealing();
}

constexpr AnswerRow kBodies[] = {
    {"EmptyObject", "{}", ""},
    {"Null", "null", ""},
    {"List", "[]", ""},
    {"Text", "\"D1\"", ""},
    {"IdIsNull", "{\"id\":null}", ""},
    {"IdIsAList", "{\"id\":[\"D1\"]}", ""},
    {"IdIsAnObject", "{\"id\":{}}", ""},
};
INSTANTIATE_TEST_SUITE_P(WithoutAnId, BackendBody, testing::ValuesIn(kBodies),
                         [](const auto& row) { return std::string(row.param.name); });

class BackendLimit : public Backend {};

TEST_F(BackendLimit, ConnectsNothingByAnEmptyIdAndHeals) {
    start([](HTTPExchange& exchange) { return exchange.answer(200, R"({"id":""})"); });
    EXPECT_TRUE(client_->push().registerUser("alice01"));
    ASSERT_TRUE(client_->runUntil([&] { return requests_ > 0; }));
    client_->runFor(100ms);
    EXPECT_TRUE(client_->states.empty());
    EXPECT_TRUE(client_->push().registerUser("alice01"));
    EXPECT_TRUE(client_->healUntil([&] { return client_->isConnected(); }));
    EXPECT_EQ(client_->push().deviceId(), "D3V1CE");
}

TEST_F(BackendLimit, EndsACircleOfRedirects) {
    start([this](HTTPExchange& exchange) {
        requests_ = 0;
        return exchange.answer(307, "", {{"Location", "/api/installations"}});
    });
    EXPECT_TRUE(client_->push().registerUser("alice01"));
    ASSERT_TRUE(client_->runUntil([&] { return !client_->registrationErrors.empty(); }));
    EXPECT_NE(describeError(*client_->push().failureError()).find("-1007"), std::string::npos);
    requests_ = 1;
    expectHealing();
}

TEST_F(BackendLimit, CutsABombOfZeros) {
    const std::string bomb = contract::compressedZeros(32UL * 1024 * 1024);
    start([bomb](HTTPExchange& exchange) {
        return exchange.answer(200, bomb, {{"Content-Encoding", "gzip"}});
    });
    expectFailure("-1103");
    expectHealing();
}

TEST_F(BackendLimit, CutsABodyWithoutAnEnd) {
    start([](HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
        while (exchange.writeRaw(std::string(50'000, ' '))) {}
        return false;
    });
    expectFailure("-1103");
    expectHealing();
}

TEST_F(BackendLimit, CutsAHeadWithoutAnEnd) {
    start([](HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 200 OK\r\n");
        while (exchange.writeRaw("X-More: " + std::string(1000, 'x') + "\r\n")) {}
        return false;
    });
    expectFailure("-1103");
    expectHealing();
}

TEST_F(BackendLimit, CutsALineOfAHeadWithoutAnEnd) {
    start([](HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 200 OK\r\nX-Long: ");
        while (exchange.writeRaw(std::string(50'000, 'x'))) {}
        return false;
    });
    expectFailure("");
    expectHealing();
}

TEST_F(BackendLimit, CutsInformationWithoutAnEnd) {
    start(
        [](HTTPExchange& exchange) {
            while (exchange.writeRaw("HTTP/1.1 103 Early Hints\r\nX-Hint: 1\r\n\r\n")) {}
            return false;
        },
        {.totalTimeout = 1s});
    expectFailure("");
    expectHealing();
}

TEST_F(BackendLimit, EndsASilence) {
    start(
        [](HTTPExchange& exchange) {
            exchange.waitUntilClientIsGone();
            return false;
        },
        {.totalTimeout = 200ms});
    expectFailure("-1001");
    expectHealing();
}

TEST_F(BackendLimit, EndsATrickle) {
    start(
        [](HTTPExchange& exchange) {
            exchange.writeRaw("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\nx");
            exchange.waitUntilClientIsGone();
            return false;
        },
        {.lowSpeedOctetsPerSecond = 1000, .lowSpeedPeriod = 1s});
    expectFailure("-1001");
    expectHealing();
}

TEST_F(BackendLimit, TakesAnAnswerInSingleOctets) {
    start([](HTTPExchange& exchange) {
        for (const char octet :
             std::string("HTTP/1.1 200 OK\r\nContent-Length: 15\r\n\r\n{\"id\":\"D3V1CE\"}")) {
            exchange.writeRaw(std::string_view(&octet, 1));
        }
        return true;
    });
    EXPECT_TRUE(client_->push().registerUser("alice01"));
    EXPECT_TRUE(client_->healUntil([&] { return client_->registrations == 1 && client_->isConnected(); }));
}

TEST_F(BackendLimit, TakesNothingThatFollowsTheAnswer) {
    start([](HTTPExchange& exchange) {
        exchange.writeRaw(
            "HTTP/1.1 200 OK\r\nContent-Length: 15\r\n\r\n{\"id\":\"D3V1CE\"}HTTP/1.1 500 No\r\n\r\n");
        return false;
    });
    EXPECT_TRUE(client_->push().registerUser("alice01"));
    EXPECT_TRUE(client_->healUntil([&] { return client_->registrations == 1 && client_->isConnected(); }));
    EXPECT_TRUE(client_->registrationErrors.empty());
}

// An answer that ends after each of its octets, one after the other.
TEST_F(BackendLimit, FailsWhereverTheAnswerIsCut) {
    const std::string whole = "HTTP/1.1 200 OK\r\nContent-Length: 15\r\n\r\n{\"id\":\"D3V1CE\"}";
    std::atomic<std::size_t> cutAt = 0;
    start([&](HTTPExchange& exchange) {
        requests_ = 0;
        exchange.writeRaw(std::string_view(whole).substr(0, cutAt));
        return false;
    });
    for (; cutAt < whole.size(); ++cutAt) {
        client_->registrationErrors.clear();
        EXPECT_TRUE(client_->push().registerUser("alice01"));
        ASSERT_TRUE(client_->runUntil([&] { return !client_->registrationErrors.empty(); })) << cutAt;
        EXPECT_FALSE(client_->push().isRegistered()) << cutAt;
    }
    requests_ = 1;
    expectHealing();
}

}  // namespace
}  // namespace xel::matrix
