#pragma once

#include <string>

namespace xel::sandbox {

/// One line of mosquitto's password file: "{user}:$7${iterations}${salt}${hash}", the hash by PBKDF2 (RFC
/// 8018) with HMAC-SHA-512, salt and hash in base64. Throws SandboxError when OpenSSL fails.
std::string makePasswordLine(const std::string& user, const std::string& password);

}  // namespace xel::sandbox
