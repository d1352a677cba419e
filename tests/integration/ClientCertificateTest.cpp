// Certificates that must not be accepted: by the REST client at registration, and by the broker session.

#include <fstream>

#include <gtest/gtest.h>

#include "sandbox/state/CertificateAuthority.h"
#include "tests/integration/support/LiveClient.h"
#include "tests/integration/support/SandboxSupport.h"

namespace xel::test {
namespace {

using namespace std::chrono_literals;
using sandbox::CertificateAuthority;
using sandbox::CertificateContent;
using sandbox::IssuedCertificate;
using sandbox::test::LogKeeper;
using sandbox::test::RunningSandbox;
using sandbox::test::TemporaryFolder;

/// What makes a certificate bad, and what the error says about it.
struct BadCertificate {
    const char* name;
    IssuedCertificate (*issue)(const CertificateAuthority& authority, CertificateContent content);
    const char* complaint;
};

IssuedCertificate issueExpired(const CertificateAuthority& authority, CertificateContent content) {
    content.notBefore -= 48h;
    content.notAfter = std::chrono::system_clock::now() - 24h;
    return authority.issue(content);
}

IssuedCertificate issueSelfSigned(const CertificateAuthority& /*authority*/, CertificateContent content) {
    return CertificateAuthority::issueSelfSigned(content);
}

IssuedCertificate issueForAnotherHost(const CertificateAuthority& authority, CertificateContent content) {
    content.commonName = "push.example.org";
    content.dnsNames = {"push.example.org"};
    content.ipAddresses = {};
    return authority.issue(content);
}

IssuedCertificate issueByStranger(const CertificateAuthority& /*authority*/, CertificateContent content) {
    return CertificateAuthority::create().issue(content);
}

constexpr BadCertificate kBadCertificates[] = {{"Expired", issueExpired, "expired"},
                                               {"SelfSigned", issueSelfSigned, "self"},
                                               {"AnotherHost", issueForAnotherHost, "host"},
                                               {"UnknownAuthority", issueByStranger, "issuer"}};

void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path) << text;
    std::filesystem::permissions(path,
                                 std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

class ClientCertificate : public testing::TestWithParam<BadCertificate> {
protected:
    ClientCertificate() {
        const auto authority = CertificateAuthority::create();
        CertificateContent content;
        content.notBefore = std::chrono::system_clock::now() - 24h;
        content.notAfter = std::chrono::system_clock::now() + 24h;
        const auto bad = GetParam().issue(authority, content);
        const auto folder = std::filesystem::path(files_.path());
        write(folder / "ca.pem", authority.certificatePem());
        write(folder / "bad.pem", bad.certificatePem);
        write(folder / "bad.key", bad.privateKeyPem);
        auto options = makeOptions(serviceFolder_, log_);
        options.verbose = true;
        options.serverCertificate = {folder / "bad.pem", folder / "bad.key"};
        service_ = std::make_unique<sandbox::SandboxService>(options);
        service_->start();
    }

    LiveClientOptions options() const {
        LiveClientOptions options;
        options.home = home_.path();
        options.caFile = std::filesystem::path(files_.path()) / "ca.pem";
        return options;
    }

    TemporaryFolder files_;
    TemporaryFolder serviceFolder_;
    TemporaryFolder home_;
    LogKeeper log_;
    std::unique_ptr<sandbox::SandboxService> service_;
};

INSTANTIATE_TEST_SUITE_P(All, ClientCertificate, testing::ValuesIn(kBadCertificates),
                         [](const auto& bad) { return std::string(bad.param.name); });

TEST_P(ClientCertificate, IsRefusedAtRegistration) {
    LiveClient client(service_->info(), options());
    client.registerUser();
    ASSERT_TRUE(client.runUntil([&] { return !client.registrationErrors.empty(); }));
    EXPECT_FALSE(client.push().isRegistered());
    EXPECT_NE(client.registrationErrors[0].localizedDescription().find("certificate"), std::string::npos)
        << client.registrationErrors[0].localizedDescription();
    EXPECT_TRUE(client.states.empty());
}

TEST_P(ClientCertificate, IsRefusedByTheSessionWhichDoesNotFallBackToPlain) {
    LiveClient client(service_->info(), options());
    client.push().setUserId("alice01");
    client.push().setDeviceId("D1");
    client.connectAgain();
    ASSERT_TRUE(client.runUntilState("Error"));
    ASSERT_TRUE(client.push().failureError().has_value());
    const auto description = client.push().failureError()->localizedDescription();
    EXPECT_NE(description.find("certificate"), std::string::npos) << description;
    EXPECT_NE(description.find(GetParam().complaint), std::string::npos) << description;
    client.runFor(200ms);
    // The broker's log names a client once it has its CONNECT, which a refused certificate keeps it from
    // getting.
    EXPECT_FALSE(log_.contains("alice01")) << "the client fell back to a plain connection";
}

}  // namespace
}  // namespace xel::test
