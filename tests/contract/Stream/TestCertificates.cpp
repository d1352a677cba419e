#include "tests/contract/Stream/TestCertificates.h"

#include <atomic>
#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace xel::contract {

namespace {

struct Free {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
};
using Key = std::unique_ptr<EVP_PKEY, Free>;
using Certificate = std::unique_ptr<X509, Free>;

void require(bool worked) {
    if (!worked) {
        throw std::runtime_error("OpenSSL could not make a test certificate");
    }
}

Key makeKey() {
    Key key(EVP_EC_gen("P-256"));
    require(key != nullptr);
    return key;
}

void addExtension(X509* certificate, X509* issuer, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const std::unique_ptr<X509_EXTENSION, Free> extension(
        X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
    require(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1);
}

Certificate makeBlank(EVP_PKEY* key, const std::string& commonName, const TestCertificateWish& wish) {
    static std::atomic<long> serial = 1000;
    constexpr long kSecondsOfDay = 24L * 60 * 60;
    Certificate certificate(X509_new());
    require(certificate != nullptr && X509_set_version(certificate.get(), 2) == 1);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), ++serial);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), wish.validFromDays * kSecondsOfDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), wish.validToDays * kSecondsOfDay);
    require(X509_set_pubkey(certificate.get(), key) == 1);
    require(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                                       reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1,
                                       0) == 1);
    return certificate;
}

template <class Write>
std::string pem(Write write) {
    const std::unique_ptr<BIO, Free> memory(BIO_new(BIO_s_mem()));
    require(memory != nullptr && write(memory.get()) == 1);
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(size)};
}

std::string pemOf(X509* certificate) {
    return pem([&](BIO* out) { return PEM_write_bio_X509(out, certificate); });
}

std::string pemOf(EVP_PKEY* key) {
    return pem(
        [&](BIO* out) { return PEM_write_bio_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr); });
}

std::string alternativeNames(const TestCertificateWish& wish) {
    const std::string ofHost = "DNS:" + wish.hostName + (wish.hostName == "localhost" ? ",IP:127.0.0.1" : "");
    return wish.alternativeNames.value_or(ofHost);
}

TestCertificate makeLeaf(const TestCertificateWish& wish, X509* issuer, EVP_PKEY* issuerKey) {
    const Key key = makeKey();
    const Certificate leaf = makeBlank(key.get(), wish.hostName, wish);
    X509* signer = issuer != nullptr ? issuer : leaf.get();
    require(X509_set_issuer_name(leaf.get(), X509_get_subject_name(signer)) == 1);
    const std::string names = alternativeNames(wish);
    if (!names.empty()) {
        addExtension(leaf.get(), signer, NID_subject_alt_name, names);
    }
    require(X509_sign(leaf.get(), issuerKey != nullptr ? issuerKey : key.get(), EVP_sha256()) > 0);
    return {pemOf(leaf.get()), pemOf(key.get())};
}

}  // namespace

struct TestAuthority::Parts {
    Key key;
    Certificate certificate;
};

TestAuthority::TestAuthority() : parts_(std::make_unique<Parts>()) {
    parts_->key = makeKey();
    parts_->certificate = makeBlank(parts_->key.get(), "Test authority", TestCertificateWish());
    X509* own = parts_->certificate.get();
    require(X509_set_issuer_name(own, X509_get_subject_name(own)) == 1);
    addExtension(own, own, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(own, own, NID_key_usage, "critical,keyCertSign");
    require(X509_sign(own, parts_->key.get(), EVP_sha256()) > 0);
}

TestAuthority::~TestAuthority() = default;

std::string TestAuthority::certificate() const {
    return pemOf(parts_->certificate.get());
}

TestCertificate TestAuthority::issue(const TestCertificateWish& wish) const {
    return makeLeaf(wish, parts_->certificate.get(), parts_->key.get());
}

TestCertificate selfSignedCertificate(const TestCertificateWish& wish) {
    return makeLeaf(wish, nullptr, nullptr);
}

}  // namespace xel::contract
