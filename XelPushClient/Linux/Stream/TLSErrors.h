#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Platform/ByteStream.h"

namespace xel {

/// An error of a stream, with that description.
[[nodiscard]] NSError streamError(ByteStreamErrorCode code, std::string_view description);
[[nodiscard]] NSError tlsError(std::string_view description);

/// What OpenSSL noted on this thread, taken off its list; "no further details" when there is nothing.
[[nodiscard]] std::string describeOpenSSLErrors();

/// Why a certificate was refused, in words, with OpenSSL's own in brackets. `verifyResult` is an X509_V_ERR
/// code.
[[nodiscard]] std::string describeRefusedCertificate(long verifyResult);

/// Why a handshake failed, from what OpenSSL noted on this thread.
[[nodiscard]] std::string describeFailedHandshake();

}  // namespace xel
