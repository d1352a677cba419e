#include "XelPushClient/Linux/Push/WebPushDecryption.h"

#include <array>
#include <optional>
#include <string_view>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/param_build.h>
#include <openssl/params.h>

#include "XelPushClient/Linux/Push/OpenSSLOwned.h"

namespace xel {

namespace {

using namespace std::string_view_literals;
using Octets = std::span<const std::uint8_t>;

// The header (RFC 8188 section 2.1): salt, record size, length of the sender's key, the key.
constexpr std::size_t kSaltSize = 16;
constexpr std::size_t kRecordSizeAt = kSaltSize;
constexpr std::size_t kKeyLengthAt = kRecordSizeAt + 4;
constexpr std::size_t kKeyAt = kKeyLengthAt + 1;
constexpr std::size_t kTagSize = 16;
/// A record holds a tag, a delimiter, and an octet of content.
constexpr std::uint32_t kSmallestRecordSize = kTagSize + 2;
constexpr std::uint8_t kLastRecord = 2;

constexpr std::size_t kSharedSecretSize = 32;
constexpr std::size_t kKeyMaterialSize = 32;
constexpr std::size_t kContentKeySize = 16;
constexpr std::size_t kNonceSize = 12;

// Each ends with the NUL that the derivation wants.
constexpr auto kKeyInfo = "WebPush: info\0"sv;
constexpr auto kContentKeyInfo = "Content-Encoding: aes128gcm\0"sv;
constexpr auto kNonceInfo = "Content-Encoding: nonce\0"sv;

/// Octets that are wiped when they go.
template <std::size_t kSize>
struct Secret : std::array<std::uint8_t, kSize> {
    Secret() : std::array<std::uint8_t, kSize>{} {}
    Secret(const Secret&) = default;
    Secret& operator=(const Secret&) = default;
    ~Secret() { OPENSSL_cleanse(this->data(), kSize); }
};

/// Takes back what failures leave in the thread's list of errors, where a TLS connection would find it.
struct ErrorMark {
    ErrorMark() { ERR_set_mark(); }
    ErrorMark(const ErrorMark&) = delete;
    ErrorMark& operator=(const ErrorMark&) = delete;
    ~ErrorMark() { ERR_pop_to_mark(); }
};

struct Header {
    Octets salt;
    std::uint32_t recordSize = 0;
    Octets senderKey;
    Octets record;
};

NSError badMessage(std::string_view description) {
    return makeWebPushError(WebPushErrorCode::BadMessage, description);
}

Result<Header> headerOf(Octets message) {
    if (message.size() > kLargestWebPushMessage) {
        return badMessage("The message is longer than 4096 octets");
    }
    if (message.size() < kKeyAt) {
        return badMessage("The message ends within its header");
    }
    Header header;
    header.salt = message.first(kSaltSize);
    for (const std::uint8_t octet : message.subspan(kRecordSizeAt, 4)) {
        header.recordSize = header.recordSize << 8U | octet;
    }
    if (header.recordSize < kSmallestRecordSize) {
        return badMessage("The record size of the message is below 18");
    }
    if (message[kKeyLengthAt] != WebPushKeys::kPublicKeySize) {
        return badMessage("The sender's key does not have 65 octets");
    }
    if (message.size() < kKeyAt + WebPushKeys::kPublicKeySize) {
        return badMessage("The message ends within the sender's key");
    }
    header.senderKey = message.subspan(kKeyAt, WebPushKeys::kPublicKeySize);
    header.record = message.subspan(kKeyAt + WebPushKeys::kPublicKeySize);
    if (header.record.size() > header.recordSize) {
        return badMessage("The message has more records than one");
    }
    if (header.record.size() <= kTagSize) {
        return badMessage("The record of the message is shorter than any");
    }
    return header;
}

/// Null when the point is not on the curve, or the library fails.
OpenSSLOwned<EVP_PKEY> keyOf(Octets publicKey, const Data* privateKey) {
    const OpenSSLOwned<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new());
    OpenSSLOwned<BIGNUM> number;
    if (builder == nullptr ||
        OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, "prime256v1", 0) != 1 ||
        OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY, publicKey.data(),
                                         publicKey.size()) != 1) {
        return nullptr;
    }
    if (privateKey != nullptr) {
        number.reset(BN_secure_new());
        if (number == nullptr ||
            BN_bin2bn(privateKey->data(), static_cast<int>(privateKey->size()), number.get()) == nullptr ||
            OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_PRIV_KEY, number.get()) != 1) {
            return nullptr;
        }
    }
    const OpenSSLOwned<OSSL_PARAM> parameters(OSSL_PARAM_BLD_to_param(builder.get()));
    const OpenSSLOwned<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
    EVP_PKEY* key = nullptr;
    const int selection = privateKey != nullptr ? EVP_PKEY_KEYPAIR : EVP_PKEY_PUBLIC_KEY;
    if (parameters == nullptr || context == nullptr || EVP_PKEY_fromdata_init(context.get()) != 1 ||
        EVP_PKEY_fromdata(context.get(), &key, selection, parameters.get()) != 1) {
        return nullptr;
    }
    return OpenSSLOwned<EVP_PKEY>(key);
}

std::optional<Secret<kSharedSecretSize>> sharedSecret(EVP_PKEY* ours, EVP_PKEY* theirs) {
    const OpenSSLOwned<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_from_pkey(nullptr, ours, nullptr));
    Secret<kSharedSecretSize> secret;
    std::size_t size = secret.size();
    if (context == nullptr || EVP_PKEY_derive_init(context.get()) != 1 ||
        EVP_PKEY_derive_set_peer(context.get(), theirs) != 1 ||
        EVP_PKEY_derive(context.get(), secret.data(), &size) != 1 || size != secret.size()) {
        return std::nullopt;
    }
    return secret;
}

OSSL_PARAM octetParameter(const char* name, Octets octets) {
    // The library does not write into what it is given here.
    return OSSL_PARAM_construct_octet_string(name, const_cast<std::uint8_t*>(octets.data()), octets.size());
}

/// HKDF with SHA-256 (RFC 5869).
template <std::size_t kSize>
std::optional<Secret<kSize>> derived(Octets salt, Octets material, std::string_view info) {
    const OpenSSLOwned<EVP_KDF> function(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
    const OpenSSLOwned<EVP_KDF_CTX> context(EVP_KDF_CTX_new(function.get()));
    std::array<char, 7> digest{"SHA256"};
    const Octets infoOctets(reinterpret_cast<const std::uint8_t*>(info.data()), info.size());
    const std::array<OSSL_PARAM, 5> parameters{
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest.data(), 0),
        octetParameter(OSSL_KDF_PARAM_SALT, salt), octetParameter(OSSL_KDF_PARAM_KEY, material),
        octetParameter(OSSL_KDF_PARAM_INFO, infoOctets), OSSL_PARAM_construct_end()};
    Secret<kSize> result;
    if (context == nullptr ||
        EVP_KDF_derive(context.get(), result.data(), result.size(), parameters.data()) != 1) {
        return std::nullopt;
    }
    return result;
}

/// What the record's octets amount to; missing when they are not authentic.
std::optional<std::string> opened(Octets record, Octets key, Octets nonce) {
    const Octets cipherText = record.first(record.size() - kTagSize);
    Data tag(record.end() - kTagSize, record.end());
    const OpenSSLOwned<EVP_CIPHER_CTX> context(EVP_CIPHER_CTX_new());
    std::string content(cipherText.size(), '\0');
    auto* const out = reinterpret_cast<unsigned char*>(content.data());
    int length = 0;
    int rest = 0;
    if (context == nullptr ||
        EVP_DecryptInit_ex2(context.get(), EVP_aes_128_gcm(), key.data(), nonce.data(), nullptr) != 1 ||
        EVP_DecryptUpdate(context.get(), out, &length, cipherText.data(),
                          static_cast<int>(cipherText.size())) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(tag.size()), tag.data()) !=
            1 ||
        EVP_DecryptFinal_ex(context.get(), out + length, &rest) != 1) {
        return std::nullopt;
    }
    return content;
}

}  // namespace

Result<std::string> decryptWebPush(const WebPushKeys& keys, Octets message) {
    const auto header = headerOf(message);
    if (!header) {
        return header.error();
    }
    const ErrorMark mark;
    const auto ours = keyOf(keys.publicKey(), &keys.privateKey());
    const auto theirs = keyOf(header.value().senderKey, nullptr);
    if (theirs == nullptr) {
        return badMessage("The sender's key is no point of the curve");
    }
    const auto secret = ours != nullptr ? sharedSecret(ours.get(), theirs.get()) : std::nullopt;
    if (!secret) {
        return badMessage("The sender's key agrees on no secret");
    }
    std::string info(kKeyInfo);
    info.append(keys.publicKey().begin(), keys.publicKey().end());
    info.append(header.value().senderKey.begin(), header.value().senderKey.end());
    const auto material = derived<kKeyMaterialSize>(keys.authSecret(), *secret, info);
    const auto key =
        material ? derived<kContentKeySize>(header.value().salt, *material, kContentKeyInfo) : std::nullopt;
    // As it is derived: the number of the first record, 0, changes nothing (RFC 8188 section 2.3).
    const auto nonce =
        material ? derived<kNonceSize>(header.value().salt, *material, kNonceInfo) : std::nullopt;
    auto content = key && nonce ? opened(header.value().record, *key, *nonce) : std::nullopt;
    if (!content) {
        return makeWebPushError(WebPushErrorCode::NotForUs,
                                "The message was encrypted for other keys, or changed on the way");
    }
    // Content, delimiter, and any number of zeros (RFC 8188 section 2).
    const auto delimiter = content->find_last_not_of('\0');
    if (delimiter == std::string::npos || static_cast<std::uint8_t>((*content)[delimiter]) != kLastRecord) {
        return badMessage("The record does not end as a last record does");
    }
    content->resize(delimiter);
    return std::move(*content);
}

}  // namespace xel
