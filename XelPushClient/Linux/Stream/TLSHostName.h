#pragma once

#include <string>

struct ssl_st;

namespace xel {

/// Has the connection verify that the certificate is of that host, a name or an address, by a subjectAltName
/// alone: a subject's common name is free text (RFC 9525 section 2). The host is told the name that is asked
/// for. False when that cannot be.
[[nodiscard]] bool expectHost(ssl_st* connection, const std::string& host);

}  // namespace xel
