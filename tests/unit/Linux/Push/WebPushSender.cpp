#include "tests/unit/Linux/Push/WebPushSender.h"

#include <memory>
#include <stdexcept>

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

namespace xel::test {

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

void require(bool isTrue) {
    if (!isTrue) {
        throw std::runtime_error("a message cannot be encrypted");
    }
}

Data operator+(Data left, const Data& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Data dataOf(std::string_view text) {
    return {text.begin(), text.end()};
}

Data hmac(const Data& key, const Data& octets) {
    Data result(32);
    std::size_t size = 0;
    require(EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA256", nullptr, key.data(), key.size(), octets.data(),
                      octets.size(), result.data(), result.size(), &size) != nullptr &&
            size == result.size());
    return result;
}

/// HKDF of one block, step by step as RFC 8291 section 3.4 writes it.
Data derived(const Data& salt, const Data& material, std::string_view info, const Data& context,
             std::size_t size) {
    Data block = hmac(hmac(salt, material), dataOf(info) + context + Data{1});
    block.resize(size);
    return block;
}

Data publicKeyOf(EVP_PKEY* key) {
    unsigned char* octets = nullptr;
    const std::size_t size = EVP_PKEY_get1_encoded_public_key(key, &octets);
    require(size == 65);
    const Data result(octets, octets + size);
    OPENSSL_free(octets);
    return result;
}

Data sharedSecret(EVP_PKEY* ours, const Data& theirs) {
    const Key peer(EVP_PKEY_new(), &EVP_PKEY_free);
    require(EVP_PKEY_copy_parameters(peer.get(), ours) == 1 &&
            EVP_PKEY_set1_encoded_public_key(peer.get(), theirs.data(), theirs.size()) == 1);
    const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(EVP_PKEY_CTX_new(ours, nullptr),
                                                                              &EVP_PKEY_CTX_free);
    Data secret(32);
    std::size_t size = secret.size();
    require(EVP_PKEY_derive_init(context.get()) == 1 &&
            EVP_PKEY_derive_set_peer(context.get(), peer.get()) == 1 &&
            EVP_PKEY_derive(context.get(), secret.data(), &size) == 1 && size == secret.size());
    return secret;
}

Data sealed(const Data& plain, const Data& key, const Data& nonce) {
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  &EVP_CIPHER_CTX_free);
    Data record(plain.size() + 16);
    int length = 0;
    int rest = 0;
    require(EVP_EncryptInit_ex2(context.get(), EVP_aes_128_gcm(), key.data(), nonce.data(), nullptr) == 1 &&
            EVP_EncryptUpdate(context.get(), record.data(), &length, plain.data(),
                              static_cast<int>(plain.size())) == 1 &&
            EVP_EncryptFinal_ex(context.get(), record.data() + length, &rest) == 1 &&
            EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, 16, record.data() + plain.size()) == 1);
    return record;
}

}  // namespace

Data encryptedForWebPush(const Data& receiversKey, const Data& authSecret, std::string_view content,
                         const WebPushSending& sending) {
    using namespace std::string_view_literals;
    const Key sender(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    require(sender != nullptr);
    const Data sendersKey = publicKeyOf(sender.get());
    Data salt(16);
    require(RAND_bytes(salt.data(), static_cast<int>(salt.size())) == 1);
    const Data material = derived(authSecret, sharedSecret(sender.get(), receiversKey), "WebPush: info\0"sv,
                                  receiversKey + sendersKey, 32);
    const Data key = derived(salt, material, "Content-Encoding: aes128gcm\0"sv, {}, 16);
    const Data nonce = derived(salt, material, "Content-Encoding: nonce\0"sv, {}, 12);
    Data header = salt;
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        header.push_back(static_cast<std::uint8_t>((sending.recordSize >> shift) & 0xFFU));
    }
    header.push_back(static_cast<std::uint8_t>(sendersKey.size()));
    return header + sendersKey + sealed(dataOf(content) + dataOf(sending.ending), key, nonce);
}

}  // namespace xel::test
