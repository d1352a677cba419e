#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "tests/contract/Loop/DrivenLoop.h"

namespace xel::contract {

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

/// A transport whose requests are waited for.
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

}  // namespace xel::contract
