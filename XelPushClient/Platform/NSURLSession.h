#pragma once

#include <functional>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

/// Fetches files by URL (RFC 9110).
///
/// Contract:
/// - https and http only, redirects included; certificates and host names are verified; time and size of
///   an answer are bounded.
/// - The URL comes from the network, so servers that only this machine or its network can reach are not
///   asked unless the application allows it.
/// - The completion is called exactly once, later, on the machine's run loop.
///
/// Thread: `downloadTaskWithURL` from any thread.
class NSURLSession {
public:
    /// The path of a temporary file that only the user may read; it is removed when the completion
    /// returns, unless it was moved. Or an error in `NSURLErrorDomain`, with nothing left behind; a status
    /// outside 200 to 299 is the error -1011. No error's text holds the URL's path or query.
    using DownloadCompletion = std::function<void(Result<std::string> temporaryFile)>;

    virtual ~NSURLSession() = default;
    virtual void downloadTaskWithURL(std::string url, DownloadCompletion completion) = 0;
};

}  // namespace xel
