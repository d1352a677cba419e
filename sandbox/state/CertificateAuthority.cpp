#include "sandbox/state/CertificateAuthority.h"

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <utility>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "sandbox/process/SandboxError.h"
#include "sandbox/state/StateFolder.h"

namespace xel::sandbox {

namespace {

using Clock = std::chrono::system_clock;
using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;

constexpr std::chrono::hours kDay{24};
constexpr std::chrono::hours kAuthorityLife = 3650 * kDay;
constexpr std::chrono::hours kServerLife = 825 * kDay;  // the most that common TLS clients accept
constexpr std::chrono::hours kRenewBefore = 30 * kDay;

void require(bool succeeded, const char* what) {
    if (!succeeded) {
        const char* reason = ERR_reason_error_string(ERR_get_error());
        ERR_clear_error();
        throw SandboxError(std::string("cannot ") + what + ": " +
                           (reason == nullptr ? "OpenSSL error" : reason));
    }
}

Bio makeBuffer(const std::string& content = {}) {
    Bio buffer(BIO_new(BIO_s_mem()), &BIO_free);
    require(buffer != nullptr, "make a buffer");
    require(content.empty() || BIO_write(buffer.get(), content.data(), static_cast<int>(content.size())) > 0,
            "fill a buffer");
    return buffer;
}

std::string textOf(const Bio& buffer) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(buffer.get(), &data);
    return length > 0 ? std::string(data, static_cast<std::size_t>(length)) : std::string();
}

std::string toPem(X509* certificate) {
    const Bio buffer = makeBuffer();
    require(PEM_write_bio_X509(buffer.get(), certificate) == 1, "print a certificate");
    return textOf(buffer);
}

std::string toPem(EVP_PKEY* key) {
    const Bio buffer = makeBuffer();
    require(PEM_write_bio_PrivateKey(buffer.get(), key, nullptr, nullptr, 0, nullptr, nullptr) == 1,
            "print a private key");
    return textOf(buffer);
}

std::shared_ptr<X509> readCertificate(const std::string& pem) {
    std::shared_ptr<X509> certificate(PEM_read_bio_X509(makeBuffer(pem).get(), nullptr, nullptr, nullptr),
                                      &X509_free);
    require(certificate != nullptr, "read a certificate");
    return certificate;
}

std::shared_ptr<EVP_PKEY> makeKey() {
    std::shared_ptr<EVP_PKEY> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    require(key != nullptr, "make a private key");
    return key;
}

void setSerialNumber(X509* certificate) {
    unsigned char bytes[16];
    require(RAND_bytes(bytes, sizeof bytes) == 1, "draw a serial number");
    // A serial number is positive (RFC 5280 section 4.1.2.2).
    bytes[0] &= 0x7FU;
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> number(BN_bin2bn(bytes, sizeof bytes, nullptr),
                                                             &BN_free);
    require(
        number != nullptr && BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr,
        "set a serial number");
}

void setValidity(X509* certificate, Clock::time_point from, Clock::time_point to) {
    require(ASN1_TIME_set(X509_getm_notBefore(certificate), Clock::to_time_t(from)) != nullptr &&
                ASN1_TIME_set(X509_getm_notAfter(certificate), Clock::to_time_t(to)) != nullptr,
            "set the time of a certificate");
}

void setCommonName(X509_NAME* name, const std::string& text) {
    require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                       reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()), -1, 0) == 1,
            "name a certificate");
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()), &X509_EXTENSION_free);
    require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1,
            "extend a certificate");
}

std::shared_ptr<X509> startCertificate(EVP_PKEY* key, const std::string& commonName) {
    std::shared_ptr<X509> certificate(X509_new(), &X509_free);
    require(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
                X509_set_pubkey(certificate.get(), key) == 1,
            "start a certificate");
    setSerialNumber(certificate.get());
    setCommonName(X509_get_subject_name(certificate.get()), commonName);
    return certificate;
}

std::string listAlternativeNames(const CertificateContent& content) {
    std::string names;
    for (const std::string& name : content.dnsNames) {
        names += (names.empty() ? "DNS:" : ",DNS:") + name;
    }
    for (const std::string& address : content.ipAddresses) {
        names += (names.empty() ? "IP:" : ",IP:") + address;
    }
    return names;
}

// Signs with `issuerKey` in the name of `issuer`; without an issuer the certificate is its own.
IssuedCertificate issueServerCertificate(const CertificateContent& content, X509* issuer,
                                         EVP_PKEY* issuerKey) {
    const std::shared_ptr<EVP_PKEY> key = makeKey();
    const std::shared_ptr<X509> certificate = startCertificate(key.get(), content.commonName);
    X509* signer = issuer == nullptr ? certificate.get() : issuer;
    setValidity(certificate.get(), content.notBefore, content.notAfter);
    require(X509_set_issuer_name(certificate.get(), X509_get_subject_name(signer)) == 1, "name an issuer");
    addExtension(certificate.get(), signer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(certificate.get(), signer, NID_key_usage, "critical,digitalSignature");
    addExtension(certificate.get(), signer, NID_ext_key_usage, "serverAuth");
    addExtension(certificate.get(), signer, NID_subject_key_identifier, "hash");
    addExtension(certificate.get(), signer, NID_authority_key_identifier, "keyid");
    if (const std::string names = listAlternativeNames(content); !names.empty()) {
        addExtension(certificate.get(), signer, NID_subject_alt_name, names);
    }
    EVP_PKEY* signingKey = issuerKey == nullptr ? key.get() : issuerKey;
    require(X509_sign(certificate.get(), signingKey, EVP_sha256()) > 0, "sign a certificate");
    return IssuedCertificate{toPem(certificate.get()), toPem(key.get())};
}

}  // namespace

CertificateAuthority::CertificateAuthority(std::shared_ptr<X509> certificate, std::shared_ptr<EVP_PKEY> key)
    : certificate_(std::move(certificate)), key_(std::move(key)) {}

CertificateAuthority CertificateAuthority::create() {
    const std::shared_ptr<EVP_PKEY> key = makeKey();
    const std::shared_ptr<X509> certificate = startCertificate(key.get(), "XelPush local push service CA");
    X509* self = certificate.get();
    setValidity(self, Clock::now() - kDay, Clock::now() + kAuthorityLife);
    require(X509_set_issuer_name(self, X509_get_subject_name(self)) == 1, "name an issuer");
    addExtension(self, self, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    addExtension(self, self, NID_key_usage, "critical,keyCertSign,cRLSign");
    addExtension(self, self, NID_subject_key_identifier, "hash");
    require(X509_sign(self, key.get(), EVP_sha256()) > 0, "sign a certificate");
    return CertificateAuthority(certificate, key);
}

CertificateAuthority CertificateAuthority::loadOrCreate(const std::filesystem::path& certificateFile,
                                                        const std::filesystem::path& keyFile) {
    const std::optional<std::string> certificatePem = readWholeFile(certificateFile);
    const std::optional<std::string> keyPem = readWholeFile(keyFile);
    if (!certificatePem && !keyPem) {
        CertificateAuthority made = create();
        writePrivateFile(keyFile, toPem(made.key_.get()));
        writePrivateFile(certificateFile, made.certificatePem());
        return made;
    }
    if (!certificatePem || !keyPem) {
        throw SandboxError("of the certificate authority only one of '" + certificateFile.string() +
                           "' and '" + keyFile.string() + "' is there; remove it to get a new authority");
    }
    std::shared_ptr<EVP_PKEY> key(
        PEM_read_bio_PrivateKey(makeBuffer(*keyPem).get(), nullptr, nullptr, nullptr), &EVP_PKEY_free);
    require(key != nullptr, "read the key of the certificate authority");
    return CertificateAuthority(readCertificate(*certificatePem), std::move(key));
}

IssuedCertificate CertificateAuthority::issue(const CertificateContent& content) const {
    return issueServerCertificate(content, certificate_.get(), key_.get());
}

IssuedCertificate CertificateAuthority::issueSelfSigned(const CertificateContent& content) {
    return issueServerCertificate(content, nullptr, nullptr);
}

bool CertificateAuthority::hasIssued(const std::string& certificatePem, Clock::time_point instant) const {
    const Bio buffer = makeBuffer(certificatePem);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(buffer.get(), nullptr, nullptr, nullptr), &X509_free);
    std::time_t limit = Clock::to_time_t(instant);
    const bool issued = certificate != nullptr && X509_verify(certificate.get(), key_.get()) == 1 &&
                        X509_cmp_time(X509_get0_notAfter(certificate.get()), &limit) > 0;
    ERR_clear_error();
    return issued;
}

std::string CertificateAuthority::certificatePem() const {
    return toPem(certificate_.get());
}

std::filesystem::path authorityFile(const StateFolder& folder) {
    return folder.file("ca.pem");
}

ServerCertificateFiles ensureServerCertificate(const StateFolder& folder) {
    const CertificateAuthority authority =
        CertificateAuthority::loadOrCreate(authorityFile(folder), folder.file("ca-key.pem"));
    ServerCertificateFiles files{folder.file("server.pem"), folder.file("server-key.pem")};
    const auto now = std::chrono::system_clock::now();
    const std::optional<std::string> kept = readWholeFile(files.certificate);
    if (kept && readWholeFile(files.privateKey) && authority.hasIssued(*kept, now + kRenewBefore)) {
        return files;
    }
    CertificateContent content;
    content.notBefore = now - kDay;
    content.notAfter = now + kServerLife;
    const IssuedCertificate issued = authority.issue(content);
    // The key first. Killed in between, the next start finds a certificate that is still due, not a new
    // one with an old key.
    writePrivateFile(files.privateKey, issued.privateKeyPem);
    writePrivateFile(files.certificate, issued.certificatePem);
    return files;
}

}  // namespace xel::sandbox
