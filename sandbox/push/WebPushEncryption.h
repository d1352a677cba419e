#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace xel::sandbox {

/// The largest body that push services take, in bytes (RFC 8030, section 7.2).
inline constexpr std::size_t kLargestPushBody = 4096;

/// What encryption adds to a text: the header, the padding delimiter and the tag of the one record.
inline constexpr std::size_t kPushBodyOverhead = 16 + 4 + 1 + 65 + 1 + 16;

/// The longest text that fits, in bytes.
inline constexpr std::size_t kLargestPushText = kLargestPushBody - kPushBodyOverhead;

/// The lengths that Web Push gives a receiver's keys, in bytes (RFC 8291, section 3).
inline constexpr std::size_t kPushPublicKeyLength = 65;
inline constexpr std::size_t kPushAuthSecretLength = 16;

/// Whom a push message is encrypted for; raw bytes.
struct PushReceiver {
    std::string publicKey;   ///< its point on P-256, uncompressed: 65 bytes
    std::string authSecret;  ///< 16 bytes that it shares with its senders
};

/// What the sender makes anew for each message; raw bytes.
struct PushSenderKeys {
    std::string privateKey;  ///< the number, 32 bytes, big-endian
    std::string publicKey;   ///< its point on P-256, uncompressed: 65 bytes
    std::string salt;        ///< 16 bytes
};

/// A new pair of keys and a new salt. Throws SandboxError when the system has none to give.
PushSenderKeys makePushSenderKeys();

/// `text` as the body of a push message: Web Push encryption (RFC 8291) in one record of the content encoding
/// "aes128gcm" (RFC 8188). Throws SandboxError when the text is longer than kLargestPushText, a key or secret
/// has another length than said above, or a public key is no point on the curve; no text names a secret.
std::string encryptPushMessage(const PushReceiver& receiver, const PushSenderKeys& sender,
                               std::string_view text);

}  // namespace xel::sandbox
