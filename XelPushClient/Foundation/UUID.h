#pragma once

#include <string>

namespace xel {

/// A new random identifier (UUID version 4, RFC 9562 section 5.4) in its text form: 36 characters,
/// lower-case hexadecimal digits in groups of 8, 4, 4, 4 and 12. From any thread. Throws what
/// `std::random_device` throws when the machine has no source of randomness.
[[nodiscard]] std::string makeUUID();

}  // namespace xel
