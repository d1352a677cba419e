#pragma once

#include <memory>
#include <optional>
#include <string>

namespace xel::contract {

/// A certificate and its key, both in PEM.
struct TestCertificate {
    std::string certificate;
    std::string key;
};

/// What a test's certificate says. Days count from now; negative ones lie in the past.
struct TestCertificateWish {
    std::string hostName = "localhost";  ///< as DNS name, and as address too where it is "localhost"
    int validFromDays = -1;
    int validToDays = 2;
    /// The subjectAltName in OpenSSL's words, such as "DNS:a.example,IP:192.0.2.1", in place of the host;
    /// empty: none, and the host stands in the subject alone.
    std::optional<std::string> alternativeNames{};
};

/// A certificate authority that lives as long as its test.
class TestAuthority {
public:
    TestAuthority();
    ~TestAuthority();
    TestAuthority(const TestAuthority&) = delete;
    TestAuthority& operator=(const TestAuthority&) = delete;

    /// The authority's own certificate in PEM.
    [[nodiscard]] std::string certificate() const;

    [[nodiscard]] TestCertificate issue(const TestCertificateWish& wish = {}) const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

/// A certificate that nobody but itself vouches for.
[[nodiscard]] TestCertificate selfSignedCertificate(const TestCertificateWish& wish = {});

}  // namespace xel::contract
