#pragma once

#include <string_view>

namespace xel {

/// A host as a URL's authority writes it, without the brackets around an IPv6 address (RFC 3986
/// section 3.2.2).
[[nodiscard]] std::string_view withoutBrackets(std::string_view host);

/// Whether the text names this machine itself: "localhost" or a name below it (RFC 6761 section 6.3), an
/// address of 127.0.0.0/8, or ::1, also in brackets. Names are compared, not looked up.
[[nodiscard]] bool isLoopbackHost(std::string_view host);

}  // namespace xel
