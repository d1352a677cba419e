#include "sandbox/push/WebPushEncryption.h"

#include <algorithm>
#include <array>
#include <memory>

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {
namespace {

constexpr std::size_t kNumberLength = 32;
constexpr std::size_t kSaltLength = 16;
constexpr std::size_t kKeyLength = 16;
constexpr std::size_t kNonceLength = 12;
constexpr std::size_t kTagLength = 16;
constexpr char kLastRecord = 0x02;  // the delimiter behind the text of the last record
constexpr const char* kCurve = "prime256v1";

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;

void require(bool succeeded, const char* what) {
    if (!succeeded) {
        throw SandboxError(std::string("a push message cannot be encrypted: ") + what);
    }
}

const unsigned char* bytesOf(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* bytesOf(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

// The library takes pointers to what it might write, and does not write it.
OSSL_PARAM octets(const char* name, std::string& value) {
    return OSSL_PARAM_construct_octet_string(name, value.data(), value.size());
}

// A key from its parts. The library wants a private number in the machine's own byte order.
Key makeKey(std::string publicKey, std::string privateKey, const char* failure) {
    std::string curve = kCurve;
    std::reverse(privateKey.begin(), privateKey.end());
    // The first of the two ends is the place of the private number, where there is one.
    std::array<OSSL_PARAM, 4> parameters{
        OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, curve.data(), 0),
        octets(OSSL_PKEY_PARAM_PUB_KEY, publicKey), OSSL_PARAM_construct_end(), OSSL_PARAM_construct_end()};
    if (!privateKey.empty()) {
        parameters[2] =
            OSSL_PARAM_construct_BN(OSSL_PKEY_PARAM_PRIV_KEY, bytesOf(privateKey), privateKey.size());
    }
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr), &EVP_PKEY_CTX_free);
    EVP_PKEY* key = nullptr;
    require(context != nullptr && EVP_PKEY_fromdata_init(context.get()) == 1 &&
                EVP_PKEY_fromdata(context.get(), &key,
                                  privateKey.empty() ? EVP_PKEY_PUBLIC_KEY : EVP_PKEY_KEYPAIR,
                                  parameters.data()) == 1,
            failure);
    return {key, &EVP_PKEY_free};
}

std::string deriveSharedSecret(const PushReceiver& receiver, const PushSenderKeys& sender) {
    const Key own = makeKey(sender.publicKey, sender.privateKey, "the sender's keys are none of the curve");
    const Key other = makeKey(receiver.publicKey, {}, "the receiver's public key is no point on the curve");
    const KeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, own.get(), nullptr), &EVP_PKEY_CTX_free);
    std::string secret(kNumberLength, '\0');
    std::size_t length = secret.size();
    require(context != nullptr && EVP_PKEY_derive_init(context.get()) == 1 &&
                EVP_PKEY_derive_set_peer(context.get(), other.get()) == 1 &&
                EVP_PKEY_derive(context.get(), bytesOf(secret), &length) == 1 && length == secret.size(),
            "no secret can be derived");
    return secret;
}

// HKDF with SHA-256 (RFC 5869).
std::string derive(std::string salt, std::string secret, std::string purpose, std::size_t length) {
    const std::unique_ptr<EVP_KDF, decltype(&EVP_KDF_free)> function(EVP_KDF_fetch(nullptr, "HKDF", nullptr),
                                                                     &EVP_KDF_free);
    require(function != nullptr, "there is no HKDF");
    const std::unique_ptr<EVP_KDF_CTX, decltype(&EVP_KDF_CTX_free)> context(EVP_KDF_CTX_new(function.get()),
                                                                            &EVP_KDF_CTX_free);
    std::string digest = "SHA256";
    const std::array<OSSL_PARAM, 5> parameters{
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest.data(), 0),
        octets(OSSL_KDF_PARAM_SALT, salt), octets(OSSL_KDF_PARAM_KEY, secret),
        octets(OSSL_KDF_PARAM_INFO, purpose), OSSL_PARAM_construct_end()};
    std::string derived(length, '\0');
    require(context != nullptr &&
                EVP_KDF_derive(context.get(), bytesOf(derived), derived.size(), parameters.data()) == 1,
            "no key can be derived");
    return derived;
}

// A label of RFC 8188 or RFC 8291: its zero byte belongs to it.
std::string label(const char* text) {
    return std::string(text) + '\0';
}

// AES-128-GCM; the tag comes last.
std::string seal(const std::string& key, const std::string& nonce, const std::string& text) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  &EVP_CIPHER_CTX_free);
    std::string sealed(text.size() + kTagLength, '\0');
    unsigned char* tag = bytesOf(sealed) + text.size();
    int length = 0;
    require(context != nullptr &&
                EVP_EncryptInit_ex2(context.get(), EVP_aes_128_gcm(), bytesOf(std::string_view(key)),
                                    bytesOf(std::string_view(nonce)), nullptr) == 1 &&
                EVP_EncryptUpdate(context.get(), bytesOf(sealed), &length, bytesOf(std::string_view(text)),
                                  static_cast<int>(text.size())) == 1 &&
                EVP_EncryptFinal_ex(context.get(), tag, &length) == 1 &&
                EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, kTagLength, tag) == 1,
            "the cipher fails");
    return sealed;
}

std::string makeHeader(const PushSenderKeys& sender) {
    std::string header = sender.salt;
    for (int shift = 24; shift >= 0; shift -= 8) {
        header += static_cast<char>((kLargestPushBody >> static_cast<unsigned>(shift)) & 0xFFU);
    }
    header += static_cast<char>(sender.publicKey.size());
    return header + sender.publicKey;
}

void requireLengths(const PushReceiver& receiver, const PushSenderKeys& sender) {
    require(
        receiver.publicKey.size() == kPushPublicKeyLength && sender.publicKey.size() == kPushPublicKeyLength,
        "a public key has not 65 bytes");
    require(receiver.authSecret.size() == kPushAuthSecretLength, "the auth secret has not 16 bytes");
    require(sender.privateKey.size() == kNumberLength, "the sender's private key has not 32 bytes");
    require(sender.salt.size() == kSaltLength, "the salt has not 16 bytes");
}

}  // namespace

PushSenderKeys makePushSenderKeys() {
    const Key pair(EVP_EC_gen(kCurve), &EVP_PKEY_free);
    PushSenderKeys keys{std::string(kNumberLength, '\0'), std::string(kPushPublicKeyLength, '\0'),
                        std::string(kSaltLength, '\0')};
    std::size_t length = 0;
    BIGNUM* number = nullptr;
    require(pair != nullptr &&
                EVP_PKEY_get_octet_string_param(pair.get(), OSSL_PKEY_PARAM_PUB_KEY, bytesOf(keys.publicKey),
                                                keys.publicKey.size(), &length) == 1 &&
                length == kPushPublicKeyLength &&
                EVP_PKEY_get_bn_param(pair.get(), OSSL_PKEY_PARAM_PRIV_KEY, &number) == 1,
            "no keys can be made");
    const std::unique_ptr<BIGNUM, decltype(&BN_clear_free)> owned(number, &BN_clear_free);
    require(BN_bn2binpad(number, bytesOf(keys.privateKey), static_cast<int>(kNumberLength)) ==
                    static_cast<int>(kNumberLength) &&
                RAND_bytes(bytesOf(keys.salt), static_cast<int>(kSaltLength)) == 1,
            "no keys can be made");
    return keys;
}

std::string encryptPushMessage(const PushReceiver& receiver, const PushSenderKeys& sender,
                               std::string_view text) {
    requireLengths(receiver, sender);
    require(text.size() <= kLargestPushText, "the text is too long");
    const std::string secret =
        derive(receiver.authSecret, deriveSharedSecret(receiver, sender),
               label("WebPush: info") + receiver.publicKey + sender.publicKey, kNumberLength);
    const std::string key = derive(sender.salt, secret, label("Content-Encoding: aes128gcm"), kKeyLength);
    // As it is derived: the number of the first record, 0, changes nothing (RFC 8188 section 2.3).
    const std::string nonce = derive(sender.salt, secret, label("Content-Encoding: nonce"), kNonceLength);
    return makeHeader(sender) + seal(key, nonce, std::string(text) + kLastRecord);
}

}  // namespace xel::sandbox
