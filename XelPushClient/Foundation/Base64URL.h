#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

// Base64 with the alphabet that URLs and file names bear (RFC 4648 section 5), without padding, as JSON Web
// Signature (RFC 7515 section 2) and Web Push write keys.

[[nodiscard]] std::string base64URLOf(std::span<const std::uint8_t> octets);

/// The octets; missing when the text is not exactly what `base64URLOf` writes: another character, padding,
/// white space, a length that no octets have, or bits beyond the last octet that are not zero.
[[nodiscard]] std::optional<Data> octetsOfBase64URL(std::string_view text);

}  // namespace xel
