#include "sandbox/push/PushToken.h"

#include <cstddef>

#include "XelPushClient/Foundation/Base64URL.h"
#include "sandbox/relay/Hexadecimal.h"
#include "sandbox/relay/Json.h"

namespace xel::sandbox {
namespace {

constexpr char kUncompressed = 0x04;  // what an uncompressed point begins with

std::optional<std::string> decodeHexadecimal(std::string_view digits) {
    if (digits.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const std::optional<char> byte = byteOfHexDigits(digits[i], digits[i + 1]);
        if (!byte) {
            return std::nullopt;
        }
        bytes += *byte;
    }
    return bytes;
}

// The bytes that a member of the token spells; empty when there are not so many of them.
std::string bytesOf(const Json& token, const char* key, std::size_t length) {
    const std::optional<std::string> text = findText(token, key);
    const auto bytes = text ? octetsOfBase64URL(*text) : std::nullopt;
    return bytes && bytes->size() == length ? std::string(bytes->begin(), bytes->end()) : std::string();
}

}  // namespace

std::optional<PushToken> parsePushToken(std::string_view hexadecimal) {
    const std::optional<std::string> text = decodeHexadecimal(hexadecimal);
    const std::optional<Json> object = text ? parseJsonObject(*text) : std::nullopt;
    if (!object) {
        return std::nullopt;
    }
    PushToken token;
    token.receiver.publicKey = bytesOf(*object, "publicKey", kPushPublicKeyLength);
    token.receiver.authSecret = bytesOf(*object, "auth", kPushAuthSecretLength);
    token.endpoint = findText(*object, "endpoint").value_or("");
    if (token.endpoint.empty() || token.receiver.authSecret.empty() ||
        !token.receiver.publicKey.starts_with(kUncompressed)) {
        return std::nullopt;
    }
    return token;
}

}  // namespace xel::sandbox
