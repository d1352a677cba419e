#pragma once

#include <curl/curl.h>

namespace xel {

/// Has the transfer's TLS connections refuse a certificate without a subjectAltName that names a host or an
/// address: libcurl would then take the subject's common name, which is free text, for the host's name (RFC
/// 9525 section 2). Which host the names are of, libcurl sees to. False when this libcurl's TLS is not
/// OpenSSL's, and no connection may be made by it.
[[nodiscard]] bool requireAlternativeNames(CURL* handle);

}  // namespace xel
