#include "XelPushClient/Foundation/UUID.h"

#include <array>
#include <random>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::size_t kOctets = 16;

std::array<unsigned, kOctets> randomOctets() {
    // The machine's own randomness each time: a seeded generator would repeat itself in a forked process.
    std::random_device device;
    std::array<unsigned, kOctets> octets{};
    for (std::size_t i = 0; i < kOctets; i += 4) {
        const unsigned bits = device();
        for (std::size_t j = 0; j < 4; ++j) {
            octets[i + j] = (bits >> (8U * j)) & 0xFFU;
        }
    }
    return octets;
}

}  // namespace

std::string makeUUID() {
    auto octets = randomOctets();
    octets[6] = (octets[6] & 0x0FU) | 0x40U;  // version 4
    octets[8] = (octets[8] & 0x3FU) | 0x80U;  // variant of the RFC
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < kOctets; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text += '-';
        }
        appendHexadecimal(text, static_cast<unsigned char>(octets[i]));
    }
    return text;
}

}  // namespace xel
