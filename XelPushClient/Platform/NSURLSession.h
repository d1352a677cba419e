#pragma once

#include <functional>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

/// Fetches files by URL (RFC 9110).
///
/// Contract: https and http only, also where a redirect leads; certificates and host names verified; time and
/// size of an answer bounded; servers that only this machine or its network reaches are not asked, unless the
/// application allows it, because the URL comes from the network. Thread: `downloadTaskWithURL` from any
/// thread; the completion is called exactly once, later, on the machine's run loop.
class NSURLSession {
public:
    /// The path of a file of its own, readable by the user alone, which is removed when the completion
    /// returns unless it was moved; or an error in `NSURLErrorDomain`, after which nothing is left behind. An
    /// answer with another status than 200 to 299 is the error -1011. Texts of errors never hold the URL's
    /// path or query.
    using DownloadCompletion = std::function<void(Result<std::string> temporaryFile)>;

    virtual ~NSURLSession() = default;
    virtual void downloadTaskWithURL(std::string url, DownloadCompletion completion) = 0;
};

}  // namespace xel
