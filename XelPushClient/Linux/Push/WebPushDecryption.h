#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Push/WebPushKeys.h"

namespace xel {

/// The largest encrypted message that is taken, in octets.
inline constexpr std::size_t kLargestWebPushMessage = 4096;

/// Reads a Web Push message (RFC 8291): the content coding aes128gcm (RFC 8188) in one record.
///
/// A function of its arguments alone; from any thread. Whatever is wrong with a message is an error:
/// `BadMessage` when it has not the form (too long, a header that is cut short, a record size below 18, a key
/// of another length than 65 or off the curve, more records than one, no delimiter of a last record),
/// `NotForUs` when it cannot be authenticated.
[[nodiscard]] Result<std::string> decryptWebPush(const WebPushKeys& keys,
                                                 std::span<const std::uint8_t> message);

}  // namespace xel
