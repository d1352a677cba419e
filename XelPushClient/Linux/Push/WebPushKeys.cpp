#include "XelPushClient/Linux/Push/WebPushKeys.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/obj_mac.h>
#include <openssl/rand.h>

#include "XelPushClient/Linux/Push/OpenSSLOwned.h"

namespace xel {

namespace {

/// The public key of a private one; empty when the number is no private key of the curve.
Data publicKeyOf(std::span<const std::uint8_t> privateKey) {
    const OpenSSLOwned<EC_GROUP> group(EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1));
    const OpenSSLOwned<BIGNUM> number(BN_secure_new());
    if (group == nullptr || number == nullptr ||
        BN_bin2bn(privateKey.data(), static_cast<int>(privateKey.size()), number.get()) == nullptr ||
        BN_is_zero(number.get()) != 0 || BN_cmp(number.get(), EC_GROUP_get0_order(group.get())) >= 0) {
        return {};
    }
    const OpenSSLOwned<EC_POINT> point(EC_POINT_new(group.get()));
    Data octets(WebPushKeys::kPublicKeySize);
    if (point == nullptr ||
        EC_POINT_mul(group.get(), point.get(), number.get(), nullptr, nullptr, nullptr) != 1 ||
        EC_POINT_point2oct(group.get(), point.get(), POINT_CONVERSION_UNCOMPRESSED, octets.data(),
                           octets.size(), nullptr) != octets.size()) {
        return {};
    }
    return octets;
}

}  // namespace

NSError makeWebPushError(WebPushErrorCode code, std::string_view description) {
    return makeError(kWebPushErrorDomain, static_cast<std::int64_t>(code), description);
}

Result<WebPushKeys> WebPushKeys::make() {
    Data privateKey(kPrivateKeySize);
    Data authSecret(kAuthSecretSize);
    // One number in four thousand million is beyond the curve's order.
    for (int attempt = 0; attempt < 4; ++attempt) {
        if (RAND_priv_bytes(privateKey.data(), static_cast<int>(privateKey.size())) != 1 ||
            RAND_priv_bytes(authSecret.data(), static_cast<int>(authSecret.size())) != 1) {
            break;
        }
        if (auto keys = fromStored(privateKey, authSecret)) {
            return keys;
        }
    }
    return makeWebPushError(WebPushErrorCode::BadKeys, "The machine has no randomness to make keys of");
}

Result<WebPushKeys> WebPushKeys::fromStored(std::span<const std::uint8_t> privateKey,
                                            std::span<const std::uint8_t> authSecret) {
    if (privateKey.size() != kPrivateKeySize || authSecret.size() != kAuthSecretSize) {
        return makeWebPushError(WebPushErrorCode::BadKeys, "The stored keys do not have their lengths");
    }
    WebPushKeys keys;
    keys.publicKey_ = publicKeyOf(privateKey);
    if (keys.publicKey_.empty()) {
        return makeWebPushError(WebPushErrorCode::BadKeys, "The stored private key is none of the curve");
    }
    keys.privateKey_.assign(privateKey.begin(), privateKey.end());
    keys.authSecret_.assign(authSecret.begin(), authSecret.end());
    return keys;
}

}  // namespace xel
