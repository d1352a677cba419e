#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/contract/HTTP/CurlTransportFixture.h"
#include "tests/contract/HTTP/LocalHTTPServer.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

class CurlTLSTest : public CurlHTTPTransportTest {
protected:
    CurlTLSTest() { std::ofstream(caFile_) << authority_.certificate(); }

    [[nodiscard]] Outcome askServerWith(const TestCertificate& certificate,
                                        std::string_view host = "localhost") {
        LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, "{}"); },
                               certificate);
        Outcome outcome = get(server.url(host) + "/a?access_token=s3cret");
        requestsReceived_ = server.received().size();
        return outcome;
    }

    TestAuthority authority_;
    TemporaryFolder folder_;
    std::string caFile_ = folder_.path() + "/ca.pem";
    std::size_t requestsReceived_ = 0;
};

TEST_F(CurlTLSTest, TrustsTheGivenAuthority) {
    makeTransport({.caFile = caFile_});
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
    makeTransport({.caFile = caFile_});
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
    testing::Values(
        CertificateCase{"Expired", {"localhost", -3, -1}, false, "expired"},
        CertificateCase{"NotYetValid", {"localhost", 1, 3}, false, "not yet valid"},
        CertificateCase{"OtherHost", {"push.example", -1, 2}, false, "localhost"},
        CertificateCase{"SelfSigned", {}, true, "self-signed"},
        CertificateCase{"HostInTheSubjectAlone", {.alternativeNames = ""}, false, "Subject Alternative Name"},
        CertificateCase{"AddressBesideTheSubject", {.alternativeNames = "IP:127.0.0.1"}, false, "localhost"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(CurlTLSTest, DoesNotTrustAnAuthorityThatItWasNotGiven) {
    makeTransport();
    expectFailure(askServerWith(authority_.issue()), NSURLErrorCode::ServerCertificateUntrusted);
    EXPECT_EQ(requestsReceived_, 0U);
}

TEST_F(CurlTLSTest, SaysWhenTheCAFileCannotBeRead) {
    makeTransport({.caFile = folder_.path() + "/missing.pem"});
    expectFailure(askServerWith(authority_.issue()), NSURLErrorCode::SecureConnectionFailed);
}

TEST_F(CurlTLSTest, FailsAgainstAServerThatSpeaksNoTLS) {
    LocalHTTPServer server([](const auto&, HTTPExchange& exchange) { return exchange.answer(200, "{}"); });
    makeTransport({.caFile = caFile_});
    expectFailure(get("https://127.0.0.1:" + std::to_string(server.port()) + "/a"),
                  NSURLErrorCode::SecureConnectionFailed);
}

}  // namespace

}  // namespace xel::contract
