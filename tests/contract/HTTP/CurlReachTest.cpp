// Which hosts a download asks: its URL is chosen by whoever may send a message.

#include <cstdint>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/FirstAndLast.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"
#include "tests/contract/HTTP/LoopbackDownloads.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Network/NetworkNamespace.h"
#include "tests/contract/Store/MountNamespace.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel::contract {
namespace {

constexpr auto kNotAllowed = static_cast<std::int64_t>(NSURLErrorCode::DataNotAllowed);

class CurlReachTest : public testing::Test {
protected:
    CurlReachTest() {
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTP_PROXY",
                                 "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY"}) {
            environment_.set(name, std::nullopt);
        }
    }

    /// The error, or one with the code 0.
    NSError download(const std::string& url, const CurlHTTPOptions& options = downloadOptions()) {
        const auto loop = std::make_shared<AsioRunLoop>();
        CurlURLSession session(loop, folder_.path() + "/media", options);
        std::optional<NSError> outcome;
        session.downloadTaskWithURL(
            url, [&](const Result<std::string>& file) { outcome = file ? NSError() : file.error(); });
        EXPECT_TRUE(driveUntil(*loop, [&] { return outcome.has_value(); }));
        return outcome.value_or(NSError());
    }

    void expectRefusal(const NSError& outcome, std::string_view words) {
        EXPECT_EQ(outcome.code, kNotAllowed) << outcome.localizedDescription();
        EXPECT_NE(outcome.localizedDescription().find(words), std::string::npos)
            << outcome.localizedDescription();
        EXPECT_EQ(server_.connectionCount(), 0U);
    }

    [[nodiscard]] std::string atPort(const std::string& host) const {
        return "http://" + host + ":" + std::to_string(server_.port()) + "/cat?k=s3cret";
    }

    TemporaryEnvironment environment_;
    TemporaryFolder folder_;
    const LocalHTTPServer server_{
        [](const ReceivedRequest&, HTTPExchange& exchange) { return exchange.answer(200, "meow"); }};
};

TEST_F(CurlReachTest, ThisMachineIsNotAskedWhateverItIsCalled) {
    for (const char* host : {"127.0.0.1", "localhost", "LOCALHOST", "127.1", "0x7f000001", "2130706433",
                             "[::ffff:127.0.0.1]", "[::1]"}) {
        SCOPED_TRACE(host);
        const NSError outcome = download(atPort(host));
        expectRefusal(outcome, "an address of this machine itself");
        EXPECT_EQ(outcome.localizedDescription().find("s3cret"), std::string::npos);
    }
    expectRefusal(download(atPort("0.0.0.0")), "0.0.0.0 is the address of no host");
    expectRefusal(download(atPort("[::]")), ":: is the address of no host");
}

TEST_F(CurlReachTest, NetworksThatOnlyThisMachineReachesAreNotAsked) {
    expectRefusal(download("http://10.1.2.3/cat"), "10.1.2.3 is an address of a private network");
    expectRefusal(download("https://[fd00::1]/cat"), "fd00::1 is an address of a private network");
    expectRefusal(download("http://169.254.169.254/latest"), "an address of this machine's link");
    expectRefusal(download("http://224.0.0.1/cat"), "the address of no host");
}

TEST_F(CurlReachTest, ANameIsKnownByTheAddressThatItLeadsTo) {
    const std::string hosts = folder_.path() + "/hosts";
    std::ofstream(hosts) << "127.0.0.1 media.example\n";
    WITH_MOUNTS_OF_ITS_OWN([&] {
        putInPlaceOf("/etc/hosts", hosts);
        expectRefusal(download(atPort("media.example")), "127.0.0.1 is an address of this machine itself");
        EXPECT_EQ(download(atPort("media.example"), loopbackDownloads()).code, 0) << "the name is found";
    });
}

TEST_F(CurlReachTest, ARedirectLeadsNowhereElse) {
    const LocalHTTPServer redirecting([](const ReceivedRequest& request, HTTPExchange& exchange) {
        return exchange.answer(302, "", {{"Location", "http:/" + request.url + "/cat"}});
    });
    const auto permitted = loopbackDownloads();
    expectRefusal(download(redirecting.url() + "/10.1.2.3", permitted), "an address of a private network");
    expectRefusal(download(redirecting.url() + "/[::ffff:169.254.169.254]", permitted),
                  "an address of this machine's link");
    EXPECT_EQ(redirecting.received().size(), 2U);
}

TEST_F(CurlReachTest, WhatTheApplicationAllowsIsAsked) {
    auto options = downloadOptions();
    options.mayReach = [](NetworkKind) { return true; };
    EXPECT_EQ(download(atPort("127.0.0.1"), options).code, 0);
    EXPECT_EQ(server_.received().size(), 1U);
}

TEST_F(CurlReachTest, AHostOfTheInternetIsAskedWithoutAnyLeave) {
    IN_A_NETWORK_OF_ITS_OWN([&] {
        ip("link set lo up");
        ip("addr add 192.0.2.7/32 dev lo");
        const NSError outcome = download("http://192.0.2.7:9/cat");
        EXPECT_EQ(outcome.code, static_cast<std::int64_t>(NSURLErrorCode::CannotConnectToHost))
            << outcome.localizedDescription();
    });
}

TEST_F(CurlReachTest, NoUserNameAndNoPasswordStandInTheURL) {
    const auto badURL = static_cast<std::int64_t>(NSURLErrorCode::BadURL);
    const auto permitted = loopbackDownloads();
    const NSError outcome = download(atPort("name:word@127.0.0.1"), permitted);
    EXPECT_EQ(outcome.code, badURL);
    EXPECT_EQ(outcome.localizedDescription().find("word@"), std::string::npos);
    const LocalHTTPServer redirecting([&](const ReceivedRequest& request, HTTPExchange& exchange) {
        const std::string to = request.url == "/same" ? firstOf(request.headers).second : "127.0.0.1:1";
        return exchange.answer(302, "", {{"Location", "http://name@" + to + "/cat"}});
    });
    EXPECT_EQ(download(redirecting.url() + "/same", permitted).code, badURL);
    EXPECT_EQ(download(redirecting.url() + "/other", permitted).code, badURL);
    EXPECT_EQ(redirecting.received().size(), 2U);
    EXPECT_EQ(server_.connectionCount(), 0U);
}

// Through a proxy. RFC 6761: no name below .invalid exists, so an answer in its name is the proxy's.

TEST_F(CurlReachTest, AProxyMayLieAnywhereAndIsAskedForNamesAlone) {
    environment_.set("http_proxy", server_.url());
    for (const char* host : {"10.1.2.3", "192.0.2.7", "[fd00::1]", "2130706433"}) {
        expectRefusal(download(std::string("http://") + host + "/cat"), "");
    }
    expectRefusal(download("http://10.1.2.3/cat"), "through a proxy");
    expectRefusal(download(atPort("localhost")), "this machine itself");
    EXPECT_EQ(download("http://media.invalid/cat").code, 0);
    ASSERT_EQ(server_.received().size(), 1U);
    EXPECT_EQ(server_.received().front().url, "http://media.invalid/cat");
}

TEST_F(CurlReachTest, AHostWithoutAProxyIsKnownByItsAddress) {
    environment_.set("http_proxy", server_.url());
    environment_.set("no_proxy", "10.0.0.0/8");
    expectRefusal(download("http://10.1.2.3/cat"), "10.1.2.3 is an address of a private network");
}

}  // namespace
}  // namespace xel::contract
