#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// Domain of the errors of keys and messages of Web Push. No description holds a part of either.
inline constexpr std::string_view kWebPushErrorDomain = "WebPush";

enum class WebPushErrorCode : std::int64_t {
    BadKeys = 1,     ///< stored keys that are none, or a machine that cannot make any
    BadMessage = 2,  ///< not the form of an encrypted message
    NotForUs = 3,    ///< encrypted for other keys, or changed on the way
};

[[nodiscard]] NSError makeWebPushError(WebPushErrorCode code, std::string_view description);

/// What the receiver of Web Push messages holds (RFC 8291 section 3): a key pair on the curve P-256 and an
/// authentication secret. Public key and secret are given to the sender, the private key to nobody.
///
/// Owner: a plain value; it is always whole, and never printed.
class WebPushKeys {
public:
    static constexpr std::size_t kPublicKeySize = 65;  ///< an uncompressed point (SEC 1 section 2.3.3)
    static constexpr std::size_t kPrivateKeySize = 32;
    static constexpr std::size_t kAuthSecretSize = 16;

    /// New random keys.
    [[nodiscard]] static Result<WebPushKeys> make();

    /// The keys of a private key and an authentication secret that were kept. The public key follows from
    /// the private one.
    [[nodiscard]] static Result<WebPushKeys> fromStored(std::span<const std::uint8_t> privateKey,
                                                        std::span<const std::uint8_t> authSecret);

    [[nodiscard]] const Data& publicKey() const { return publicKey_; }
    /// The number that the private key is, its highest octet first.
    [[nodiscard]] const Data& privateKey() const { return privateKey_; }
    [[nodiscard]] const Data& authSecret() const { return authSecret_; }

private:
    WebPushKeys() = default;

    Data publicKey_;
    Data privateKey_;
    Data authSecret_;
};

}  // namespace xel
