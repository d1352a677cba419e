#pragma once

#include <string_view>

#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

/// What made a transfer fail, beside libcurl's own code.
struct CurlFailureFacts {
    /// The operating system's error number of the last connection attempt; 0: none.
    long connectErrno = 0;
    /// The answer was cut because it was larger than allowed.
    bool answerTooLarge = false;
    /// The machine has no network that could reach another one.
    bool isOffline = false;
};

/// The published code for a `CURLcode`.
[[nodiscard]] NSURLErrorCode urlErrorCodeOfCurl(int curlCode, const CurlFailureFacts& facts);

/// The error for a `CURLcode`. `origin` is scheme, host and port and nothing else of the URL: paths and
/// queries hold tokens, codes and user ids. `detail` is libcurl's own text about the failure, used only where
/// it adds the cause (names, connections, certificates) and cannot hold more of the URL than the origin.
[[nodiscard]] NSError urlErrorOfCurl(int curlCode, const CurlFailureFacts& facts, std::string_view origin,
                                     std::string_view detail);

/// An error with one of the published codes.
[[nodiscard]] NSError makeURLError(NSURLErrorCode code, std::string_view description);

}  // namespace xel
