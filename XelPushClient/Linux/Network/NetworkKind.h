#pragma once

#include <optional>
#include <string_view>

struct sockaddr;

namespace xel {

/// A host as a URL's authority writes it, without the brackets around an IPv6 address (RFC 3986
/// section 3.2.2).
[[nodiscard]] std::string_view withoutBrackets(std::string_view host);

/// Whether the text names this machine itself: "localhost" or a name below it (RFC 6761 section 6.3), an
/// address of 127.0.0.0/8, or ::1, also in brackets. Names are compared, not looked up.
[[nodiscard]] bool isLoopbackHost(std::string_view host);

/// Whose network an address belongs to, seen from this machine.
enum class NetworkKind {
    Public,     ///< the internet
    Loopback,   ///< this machine itself
    LinkLocal,  ///< the machines on the same link
    Private,    ///< a network that the internet does not reach: a house's, a company's, a carrier's
    NoHost,     ///< no one host: unspecified, multicast, broadcast, reserved
};

/// The kind of an address of IPv4 or IPv6, by the registries of special addresses (RFC 6890 and its updates).
/// An IPv6 address that carries one of IPv4 (mapped, NAT64, 6to4) is of that one's kind. Another family has
/// no host.
[[nodiscard]] NetworkKind networkKindOf(const sockaddr& address);

/// The kind of an address as a URL writes it, IPv6 in brackets or not; none for a name.
[[nodiscard]] std::optional<NetworkKind> networkKindOfLiteral(std::string_view host);

/// Such as "an address of this machine itself".
[[nodiscard]] std::string_view describeNetworkKind(NetworkKind kind);

}  // namespace xel
