#include "XelPushClient/Linux/Network/NetworkKind.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

constexpr std::string_view kLocalName = "localhost";

bool isLocalName(std::string_view host) {
    std::string name = lowerCase(host);
    if (name.ends_with('.')) {
        name.pop_back();
    }
    return name == kLocalName || name.ends_with(".localhost");
}

using Octets = std::span<const std::uint8_t>;
using Octets16 = std::array<std::uint8_t, 16>;

/// A block of addresses, and what its addresses are.
template <std::size_t Size>
struct Block {
    std::array<std::uint8_t, Size> start;
    std::size_t bits;
    NetworkKind kind;
};

constexpr Block<4> kBlocksOf4[] = {
    {{0}, 8, NetworkKind::NoHost},
    {{10}, 8, NetworkKind::Private},
    {{100, 64}, 10, NetworkKind::Private},  // behind a carrier's translation (RFC 6598)
    {{127}, 8, NetworkKind::Loopback},
    {{169, 254}, 16, NetworkKind::LinkLocal},
    {{172, 16}, 12, NetworkKind::Private},
    {{192, 0, 0}, 24, NetworkKind::Private},
    {{192, 168}, 16, NetworkKind::Private},
    {{198, 18}, 15, NetworkKind::Private},  // for measuring networks (RFC 2544)
    {{224}, 3, NetworkKind::NoHost},        // multicast, reserved, broadcast
};

constexpr Block<16> kBlocksOf6[] = {
    {{}, 128, NetworkKind::NoHost},
    {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 128, NetworkKind::Loopback},
    {{0x00, 0x64, 0xFF, 0x9B, 0x00, 0x01}, 48, NetworkKind::Private},  // NAT64 of one's own (RFC 8215)
    {{0xFC}, 7, NetworkKind::Private},
    {{0xFE, 0x80}, 10, NetworkKind::LinkLocal},
    {{0xFE, 0xC0}, 10, NetworkKind::Private},  // once of a site (RFC 3879)
    {{0xFF}, 8, NetworkKind::NoHost},
};

/// A block of IPv6 whose addresses carry one of IPv4, and where in them it stands.
struct Carrier {
    Octets16 start;
    std::size_t bits;
    std::size_t position;
};

constexpr Carrier kCarriers[] = {
    {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF}, 96, 12},  // mapped
    {{}, 96, 12},                                          // compatible, of old
    {{0x00, 0x64, 0xFF, 0x9B}, 96, 12},                    // NAT64 (RFC 6052)
    {{0x20, 0x02}, 16, 2},                                 // 6to4 (RFC 3056)
};

bool beginsWith(Octets address, Octets start, std::size_t bits) {
    const std::size_t whole = bits / 8;
    if (!std::equal(start.data(), start.data() + whole, address.data())) {
        return false;
    }
    const std::size_t rest = bits % 8;
    return rest == 0 || ((address[whole] ^ start[whole]) >> (8 - rest)) == 0;
}

NetworkKind kindOf4(Octets address) {
    for (const auto& block : kBlocksOf4) {
        if (beginsWith(address, block.start, block.bits)) {
            return block.kind;
        }
    }
    return NetworkKind::Public;
}

NetworkKind kindOf6(Octets address) {
    for (const auto& block : kBlocksOf6) {
        if (beginsWith(address, block.start, block.bits)) {
            return block.kind;
        }
    }
    // Behind the blocks: :: and ::1 lie among the compatible addresses, too.
    for (const auto& carrier : kCarriers) {
        if (beginsWith(address, carrier.start, carrier.bits)) {
            return kindOf4(address.subspan(carrier.position, 4));
        }
    }
    return NetworkKind::Public;
}

template <class Address>
Octets octetsOf(const Address& address) {
    return {reinterpret_cast<const std::uint8_t*>(&address), sizeof address};
}

}  // namespace

std::string_view withoutBrackets(std::string_view host) {
    const bool isBracketed = host.starts_with('[') && host.ends_with(']');
    return isBracketed ? host.substr(1, host.size() - 2) : host;
}

bool isLoopbackHost(std::string_view host) {
    const std::string text(withoutBrackets(host));
    in_addr address4{};
    if (inet_pton(AF_INET, text.c_str(), &address4) == 1) {
        return (ntohl(address4.s_addr) >> 24U) == 127U;
    }
    in6_addr address6{};
    if (inet_pton(AF_INET6, text.c_str(), &address6) == 1) {
        return IN6_IS_ADDR_LOOPBACK(&address6) != 0;
    }
    return isLocalName(text);
}

NetworkKind networkKindOf(const sockaddr& address) {
    switch (address.sa_family) {
        case AF_INET: return kindOf4(octetsOf(reinterpret_cast<const sockaddr_in&>(address).sin_addr));
        case AF_INET6: return kindOf6(octetsOf(reinterpret_cast<const sockaddr_in6&>(address).sin6_addr));
        default: return NetworkKind::NoHost;
    }
}

std::optional<NetworkKind> networkKindOfLiteral(std::string_view host) {
    const std::string text(withoutBrackets(host));
    in_addr address4{};
    if (inet_pton(AF_INET, text.c_str(), &address4) == 1) {
        return kindOf4(octetsOf(address4));
    }
    in6_addr address6{};
    if (inet_pton(AF_INET6, text.c_str(), &address6) == 1) {
        return kindOf6(octetsOf(address6));
    }
    return std::nullopt;
}

std::string_view describeNetworkKind(NetworkKind kind) {
    switch (kind) {
        case NetworkKind::Public: return "an address of the internet";
        case NetworkKind::Loopback: return "an address of this machine itself";
        case NetworkKind::LinkLocal: return "an address of this machine's link";
        case NetworkKind::Private: return "an address of a private network";
        case NetworkKind::NoHost: break;
    }
    return "the address of no host";
}

}  // namespace xel
