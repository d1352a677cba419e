#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <boost/system/error_code.hpp>

#include "XelPushClient/Platform/ByteStream.h"

namespace xel {

/// An error of a stream, with that description.
[[nodiscard]] NSError streamError(ByteStreamErrorCode code, std::string_view description);
[[nodiscard]] NSError tlsError(std::string_view description);

/// The host that a stream is opened to, and how its errors name it.
struct StreamPeer {
    std::string host;
    std::uint16_t port = 0;

    [[nodiscard]] NSError cannotConnect(ByteStreamErrorCode code, std::string_view why) const;
    [[nodiscard]] NSError cannotConnectByTLS(std::string_view why,
                                             ByteStreamErrorCode code = ByteStreamErrorCode::TLSFailed) const;
    [[nodiscard]] NSError wasLost(std::string_view why,
                                  ByteStreamErrorCode code = ByteStreamErrorCode::ConnectionLost) const;
    /// Whether it was the peer's doing shows in the code: a path that went away ends in a time-out.
    [[nodiscard]] NSError wasLost(const boost::system::error_code& error) const;
};

/// What OpenSSL noted on this thread, taken off its list; "no further details" when there is nothing.
[[nodiscard]] std::string describeOpenSSLErrors();

/// Why a certificate was refused, in words, with OpenSSL's own in brackets. `verifyResult` is an X509_V_ERR
/// code.
[[nodiscard]] std::string describeRefusedCertificate(long verifyResult);

/// Why a handshake failed, from what OpenSSL noted on this thread.
[[nodiscard]] std::string describeFailedHandshake();

}  // namespace xel
