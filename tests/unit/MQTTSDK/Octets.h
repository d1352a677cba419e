#pragma once

#include <string>
#include <string_view>

namespace xel {

/// The octets that hexadecimal digits say; blanks between them are for the reader.
inline std::string octetsFromHex(std::string_view digits) {
    std::string octets;
    int high = -1;
    for (const char digit : digits) {
        if (digit == ' ') {
            continue;
        }
        const int value = digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10;
        if (high < 0) {
            high = value;
        } else {
            octets.push_back(static_cast<char>(high * 16 + value));
            high = -1;
        }
    }
    return octets;
}

inline std::string hexFromOctets(std::string_view octets) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string digits;
    for (const char octet : octets) {
        digits += kDigits[static_cast<unsigned char>(octet) >> 4U];
        digits += kDigits[static_cast<unsigned char>(octet) & 0x0FU];
    }
    return digits;
}

}  // namespace xel
