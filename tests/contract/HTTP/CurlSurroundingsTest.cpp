// What libcurl takes from the machine around it, and what a download tells and takes of the hosts it is led
// to.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/HTTP/CurlURLSession.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/FirstAndLast.h"
#include "tests/contract/HTTP/CompressedZeros.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"
#include "tests/contract/HTTP/LoopbackDownloads.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/MountNamespace.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

bool answerOK(const ReceivedRequest& /*request*/, HTTPExchange& exchange) {
    return exchange.answer(200, "{}");
}

class CurlSurroundingsTest : public testing::Test {
protected:
    CurlSurroundingsTest() {
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTP_PROXY",
                                 "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY"}) {
            environment_.set(name, std::nullopt);
        }
    }

    /// The status of the answer, or the error's code.
    static std::int64_t get(const std::string& url, CurlHTTPOptions options = {}) {
        options.isOnline = [] { return true; };
        const auto loop = std::make_shared<AsioRunLoop>();
        CurlHTTPTransport http(loop, options);
        std::optional<Result<HTTPResponse>> outcome;
        http.send({"GET", url, {}, ""}, [&](Result<HTTPResponse> result) { outcome = std::move(result); });
        EXPECT_TRUE(driveUntil(*loop, [&] { return outcome.has_value(); }));
        if (!outcome) {
            return 0;
        }
        return *outcome ? outcome->value().status : outcome->error().code;
    }

    /// 0, or the error's code; what arrived is then in `downloaded_`.
    std::int64_t download(const std::string& url, CurlHTTPOptions options = loopbackDownloads()) {
        options.isOnline = [] { return true; };
        const auto loop = std::make_shared<AsioRunLoop>();
        CurlURLSession session(loop, folder_.path() + "/media", options);
        std::optional<std::int64_t> code;
        session.downloadTaskWithURL(url, [&](const Result<std::string>& file) {
            if (file) {
                downloaded_ = contentsOf(file.value()).value_or("");
            }
            code = file ? 0 : file.error().code;
        });
        EXPECT_TRUE(driveUntil(*loop, [&] { return code.has_value(); }));
        return code.value_or(1);
    }

    static std::int64_t codeOf(NSURLErrorCode code) { return static_cast<std::int64_t>(code); }

    TemporaryEnvironment environment_;
    TemporaryFolder folder_;
    std::string downloaded_;
};

// Proxies. RFC 6761: no name below .invalid exists, so an answer in its name is the proxy's.

TEST_F(CurlSurroundingsTest, AsksTheProxyThatTheEnvironmentNames) {
    const LocalHTTPServer proxy(answerOK);
    environment_.set("http_proxy", proxy.url());
    EXPECT_EQ(get("http://push.invalid/a?access_token=k"), 200);
    EXPECT_EQ(download("http://media.invalid/cat"), 0);
    const auto received = proxy.received();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].url, "http://push.invalid/a?access_token=k");
    EXPECT_EQ(received[1].url, "http://media.invalid/cat");
}

TEST_F(CurlSurroundingsTest, TellsTheProxyOfATLSConnectionTheHostAlone) {
    const LocalHTTPServer proxy(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(403, "not here"); });
    environment_.set("https_proxy", proxy.url());
    EXPECT_LT(get("https://push.invalid/a?access_token=s3cret"), 0) << "the proxy's 403 is no answer";
    const auto received = proxy.received();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received.front().method, "CONNECT");
    EXPECT_EQ(received.front().url, "push.invalid:443");
    for (const auto& [name, value] : firstOf(received).headers) {
        EXPECT_EQ(value.find("s3cret"), std::string::npos) << name;
    }
}

TEST_F(CurlSurroundingsTest, LeavesTheProxyOutForTheHostsOfNoProxy) {
    const LocalHTTPServer proxy(answerOK);
    environment_.set("all_proxy", proxy.url());
    environment_.set("no_proxy", "push.invalid");
    EXPECT_EQ(get("http://push.invalid/a"), codeOf(NSURLErrorCode::CannotFindHost));
    EXPECT_TRUE(proxy.received().empty());
    EXPECT_EQ(get("http://other.invalid/a"), 200);
}

TEST_F(CurlSurroundingsTest, AsksThisMachineWithoutAProxy) {
    const LocalHTTPServer proxy(
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(502, "lost"); });
    const LocalHTTPServer server(answerOK);
    environment_.set("http_proxy", proxy.url());
    EXPECT_EQ(get(server.url() + "/a"), 200);
    EXPECT_EQ(get(server.url("localhost") + "/a"), 200);
    EXPECT_TRUE(proxy.received().empty());
}

// Trust

TEST_F(CurlSurroundingsTest, TrustsTheStoreOfTheSystemUnlessGivenAFile) {
    const TestAuthority authority;
    const std::string ours = folder_.path() + "/authority.pem";
    std::ofstream(ours) << authority.certificate();
    const std::string others = folder_.path() + "/other.pem";
    std::ofstream(others) << selfSignedCertificate({.hostName = "push.example"}).certificate;
    const LocalHTTPServer server(answerOK, authority.issue());
    const std::string url = server.url("localhost") + "/a";
    const auto untrusted = codeOf(NSURLErrorCode::ServerCertificateUntrusted);
    EXPECT_EQ(get(url), untrusted);
    EXPECT_EQ(download(url), untrusted);
    WITH_MOUNTS_OF_ITS_OWN([&] {
        putInPlaceOf("/etc/ssl/certs/ca-certificates.crt", ours);
        EXPECT_EQ(get(url), 200);
        EXPECT_EQ(download(url), 0);
        CurlHTTPOptions options;
        options.caFile = others;
        EXPECT_EQ(get(url, options), untrusted) << "the file is instead of the store, not beside it";
    });
}

// Redirects

TEST_F(CurlSurroundingsTest, HandsARedirectOutOfHTTPBackAsItIs) {
    const std::string secret = folder_.path() + "/secret";
    std::ofstream(secret) << "secret";
    for (const auto& target :
         {"file://" + secret, std::string("ftp://127.0.0.1/a"), std::string("data:,a")}) {
        const LocalHTTPServer server([&](const ReceivedRequest&, HTTPExchange& exchange) {
            return exchange.answer(302, "", {{"Location", target}});
        });
        EXPECT_EQ(get(server.url() + "/a?access_token=k"), 302) << target;
    }
}

TEST_F(CurlSurroundingsTest, ADownloadTellsTheNextHostNothingOfTheFirst) {
    const LocalHTTPServer target(answerOK);
    const LocalHTTPServer first([&](const ReceivedRequest&, HTTPExchange& exchange) {
        return exchange.answer(302, "", {{"Location", target.url() + "/cat"}, {"Set-Cookie", "id=s3cret"}});
    });
    EXPECT_EQ(download(first.url() + "/cat?access_token=s3cret"), 0);
    const auto received = target.received();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received.front().url, "/cat");
    for (const auto& [name, value] : firstOf(received).headers) {
        EXPECT_EQ(value.find("s3cret"), std::string::npos) << name;
    }
}

// Bounds of downloads

TEST_F(CurlSurroundingsTest, CutsACompressedDownloadByItsDecodedSize) {
    auto options = loopbackDownloads();
    options.largestAnswer = 1024UL * 1024;
    std::string answer;
    const LocalHTTPServer server([&](const ReceivedRequest&, HTTPExchange& exchange) {
        return exchange.answer(200, answer, {{"Content-Encoding", "gzip"}});
    });
    answer = compressedZeros(options.largestAnswer);
    EXPECT_EQ(download(server.url(), options), 0);
    EXPECT_EQ(downloaded_.size(), options.largestAnswer);
    answer = compressedZeros(16 * options.largestAnswer);
    ASSERT_LT(answer.size(), options.largestAnswer / 10) << "what travels is small";
    EXPECT_EQ(download(server.url(), options), codeOf(NSURLErrorCode::DataLengthExceedsMaximum));
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path() + "/media"));
}

TEST_F(CurlSurroundingsTest, GivesADownloadThatTricklesUp) {
    auto options = loopbackDownloads();
    options.lowSpeedOctetsPerSecond = 1000;
    options.lowSpeedPeriod = 1s;
    const LocalHTTPServer server([](const ReceivedRequest&, HTTPExchange& exchange) {
        exchange.writeRaw("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\nx");
        exchange.waitUntilClientIsGone();
        return false;
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(download(server.url(), options), codeOf(NSURLErrorCode::TimedOut));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 50s) << "the whole download has two minutes";
}

}  // namespace
}  // namespace xel::contract
