#pragma once

#include <string>
#include <string_view>

namespace xel::sandbox::test {

/// The receiver of the example in RFC 8291, in base64url.
inline constexpr const char* kExampleKey =
    "BCVxsr7N_eNgVRqvHtD0zTZsEc6-VV-JvLexhqUzORcxaOzi6-AYWXvTBHm4bjyPjs7Vd8pZGH6SRpkNtoIAiw4";
inline constexpr const char* kExampleAuth = "BTBZMqHH6r4Tts7J_aSIgg";
inline constexpr const char* kExampleEndpoint = "http://127.0.0.1:8123/push/0123456789abcdef";

inline std::string hexadecimal(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0FU];
    }
    return text;
}

/// A push token as an installation record has it, for the receiver of the example unless another is given.
inline std::string pushTokenOf(const std::string& endpoint, const std::string& publicKey = kExampleKey,
                               const std::string& auth = kExampleAuth) {
    return hexadecimal(R"({"endpoint":")" + endpoint + R"(","publicKey":")" + publicKey + R"(","auth":")" +
                       auth + "\"}");
}

}  // namespace xel::sandbox::test
