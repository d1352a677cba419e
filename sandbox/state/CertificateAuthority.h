#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <openssl/types.h>

namespace xel::sandbox {

/// What a server certificate says.
struct CertificateContent {
    std::string commonName{"localhost"};
    std::vector<std::string> dnsNames{"localhost"};
    std::vector<std::string> ipAddresses{"127.0.0.1", "::1"};
    std::chrono::system_clock::time_point notBefore;
    std::chrono::system_clock::time_point notAfter;
};

/// A certificate and its private key, both PEM.
struct IssuedCertificate {
    std::string certificatePem;
    std::string privateKeyPem;
};

/// A certificate authority of the service's own: what a client trusts so that it can check the broker and the
/// REST backend (X.509 v3, RFC 5280; ECDSA on P-256). Every operation throws SandboxError when OpenSSL fails.
class CertificateAuthority {
public:
    /// The authority kept in `certificateFile` and `keyFile`, or a new one, valid for ten years and written
    /// there (the key 0600). One file without the other is an error.
    static CertificateAuthority loadOrCreate(const std::filesystem::path& certificateFile,
                                             const std::filesystem::path& keyFile);

    /// A new authority that is kept nowhere.
    static CertificateAuthority create();

    /// A server certificate signed by this authority.
    [[nodiscard]] IssuedCertificate issue(const CertificateContent& content) const;

    /// A server certificate signed by itself alone.
    static IssuedCertificate issueSelfSigned(const CertificateContent& content);

    /// Whether the PEM certificate was signed by this authority and is valid until `instant` at least.
    [[nodiscard]] bool hasIssued(const std::string& certificatePem,
                                 std::chrono::system_clock::time_point instant) const;

    [[nodiscard]] std::string certificatePem() const;

private:
    CertificateAuthority(std::shared_ptr<X509> certificate, std::shared_ptr<EVP_PKEY> key);

    std::shared_ptr<X509> certificate_;
    std::shared_ptr<EVP_PKEY> key_;
};

class StateFolder;

/// The certificate with which the broker and the REST backend answer, by its files (both PEM).
struct ServerCertificateFiles {
    std::filesystem::path certificate;
    std::filesystem::path privateKey;

    [[nodiscard]] bool empty() const { return certificate.empty(); }
};

/// The authority's own certificate, which clients are told to trust.
std::filesystem::path authorityFile(const StateFolder& folder);

/// The certificate for localhost, 127.0.0.1 and ::1 that is kept in the folder. A new one is issued at the
/// first start and when the kept one would end within a month or is not by the folder's authority (which is
/// made at the first start, too). Throws SandboxError.
ServerCertificateFiles ensureServerCertificate(const StateFolder& folder);

}  // namespace xel::sandbox
