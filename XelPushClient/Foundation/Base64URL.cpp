#include "XelPushClient/Foundation/Base64URL.h"

#include <cstddef>

namespace xel {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr unsigned kBitsOfCharacter = 6;
constexpr unsigned kBitsOfOctet = 8;

}  // namespace

std::string base64URLOf(std::span<const std::uint8_t> octets) {
    std::string text;
    text.reserve((octets.size() * kBitsOfOctet + kBitsOfCharacter - 1) / kBitsOfCharacter);
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const std::uint8_t octet : octets) {
        // Never cleared: what is taken leaves at the top, and only the last `count` bits are looked at.
        bits = (bits << kBitsOfOctet) | octet;
        for (count += kBitsOfOctet; count >= kBitsOfCharacter;) {
            count -= kBitsOfCharacter;
            text += kAlphabet[(bits >> count) & 0x3FU];
        }
    }
    if (count > 0) {
        text += kAlphabet[(bits << (kBitsOfCharacter - count)) & 0x3FU];
    }
    return text;
}

std::optional<Data> octetsOfBase64URL(std::string_view text) {
    if (text.size() % 4 == 1) {
        return std::nullopt;
    }
    Data octets;
    octets.reserve(text.size() * kBitsOfCharacter / kBitsOfOctet);
    std::uint32_t bits = 0;
    unsigned count = 0;
    for (const char character : text) {
        const std::size_t value = kAlphabet.find(character);
        if (value == std::string_view::npos) {
            return std::nullopt;
        }
        bits = (bits << kBitsOfCharacter) | static_cast<std::uint32_t>(value);
        count += kBitsOfCharacter;
        if (count >= kBitsOfOctet) {
            count -= kBitsOfOctet;
            octets.push_back(static_cast<std::uint8_t>((bits >> count) & 0xFFU));
        }
    }
    if ((bits & ((1U << count) - 1U)) != 0) {
        return std::nullopt;
    }
    return octets;
}

}  // namespace xel
