#pragma once

#include <optional>
#include <string>

namespace xel {

/// What a host may choose about TLS. Verification cannot be switched off.
struct LinuxTLSOptions {
    /// A file of PEM certificates to trust instead of the system's store. Without one the system's is used,
    /// and OpenSSL's variables SSL_CERT_FILE and SSL_CERT_DIR count.
    std::optional<std::string> caFile;
};

}  // namespace xel
