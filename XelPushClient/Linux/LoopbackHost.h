#pragma once

#include <string_view>

namespace xel {

/// Whether the text names this machine itself: "localhost" or a name below it (RFC 6761 section 6.3), an
/// address of 127.0.0.0/8, or ::1, also in brackets. Names are compared, not looked up.
[[nodiscard]] bool isLoopbackHost(std::string_view host);

}  // namespace xel
