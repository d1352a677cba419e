#pragma once

#include <cstddef>
#include <string>

namespace xel::sandbox {

/// `byteCount` bytes from the kernel's random source, as lower-case hexadecimal digits (two a byte).
/// Throws std::system_error when the kernel has no random bytes to give.
std::string makeRandomHex(std::size_t byteCount);

/// `count` random decimal digits, each equally likely. Throws as above.
std::string makeRandomDigits(std::size_t count);

/// A random UUID (RFC 4122, version 4) in its 36-character form, lower case.
std::string makeUuid();

}  // namespace xel::sandbox
