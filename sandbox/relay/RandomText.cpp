#include "sandbox/relay/RandomText.h"

#include <cerrno>
#include <cstdint>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

#include <sys/random.h>

namespace xel::sandbox {
namespace {

std::vector<std::uint8_t> randomBytes(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    std::size_t filled = 0;
    while (filled < count) {
        const ssize_t got = ::getrandom(bytes.data() + filled, count - filled, 0);
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw std::system_error(errno, std::generic_category(), "getrandom");
        }
        filled += static_cast<std::size_t>(got);
    }
    return bytes;
}

void appendHex(std::string& text, std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0FU];
    }
}

}  // namespace

std::string makeRandomHex(std::size_t byteCount) {
    std::string text;
    text.reserve(byteCount * 2);
    appendHex(text, randomBytes(byteCount));
    return text;
}

std::string makeRandomDigits(std::size_t count) {
    constexpr std::uint8_t kFair = 250;  // what is above would make the digits 0 to 5 likelier
    std::string text;
    while (text.size() < count) {
        for (const std::uint8_t byte : randomBytes(count - text.size())) {
            if (byte < kFair) {
                text += static_cast<char>('0' + byte % 10U);
            }
        }
    }
    return text;
}

std::string makeUuid() {
    std::vector<std::uint8_t> bytes = randomBytes(16);
    // Version 4 and its variant (RFC 9562 section 5.4).
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);

    const std::span<const std::uint8_t> all(bytes);
    std::string text;
    text.reserve(36);
    appendHex(text, all.subspan(0, 4));
    for (const std::size_t start : {std::size_t{4}, std::size_t{6}, std::size_t{8}}) {
        text += '-';
        appendHex(text, all.subspan(start, 2));
    }
    text += '-';
    appendHex(text, all.subspan(10));
    return text;
}

}  // namespace xel::sandbox
