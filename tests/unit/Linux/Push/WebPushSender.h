#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Value.h"

namespace xel::test {

/// How a message is encrypted; each field away from its first value makes a message that is to be refused.
struct WebPushSending {
    std::uint32_t recordSize = 4096;
    /// What follows the content: the delimiter, and padding.
    std::string ending{"\x02"};
};

/// The sender's side of Web Push (RFC 8291), by OpenSSL and with a new key and salt each time. Throws
/// `std::runtime_error` when the receiver's key is none.
[[nodiscard]] Data encryptedForWebPush(const Data& receiversKey, const Data& authSecret,
                                       std::string_view content, const WebPushSending& sending = {});

}  // namespace xel::test
