#pragma once

#include <string>

#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// The parameters as `key=value` pairs joined by "&", in the dictionary's order, percent-encoded (RFC 3986).
///
/// A dictionary inside is written as `key[inner]=value`, an array as one `key[]=value` for each element, null
/// as the bare key, a boolean as 1 or 0, a date as its milliseconds since 1970, octets in hexadecimal.
[[nodiscard]] std::string queryString(const Dictionary& parameters);

}  // namespace xel
