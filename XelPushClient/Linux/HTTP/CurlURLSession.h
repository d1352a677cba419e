#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "XelPushClient/Linux/HTTP/CurlHTTPOptions.h"
#include "XelPushClient/Platform/NSURLSession.h"

namespace xel {

class CurlWorker;
class MediaFolder;
class NSRunLoop;

/// Limits of a download: those of `CurlHTTPOptions`, wider in size and time, redirects that may lead to
/// another host, and hosts of the internet alone.
[[nodiscard]] CurlHTTPOptions downloadOptions();

/// Downloads by libcurl, on a thread of its own that starts with the first one, straight into files of the
/// folder. Partial files of failed downloads are removed, and so are the oldest files beyond
/// `MediaFolder::kMostFiles`. Completions are posted to the run loop, which is not kept alive.
class CurlURLSession final : public NSURLSession {
public:
    CurlURLSession(std::weak_ptr<NSRunLoop> runLoop, std::string folder, CurlHTTPOptions options);
    ~CurlURLSession() override;
    CurlURLSession(const CurlURLSession&) = delete;
    CurlURLSession& operator=(const CurlURLSession&) = delete;

    void downloadTaskWithURL(std::string url, DownloadCompletion completion) override;

private:
    CurlWorker& worker();

    std::weak_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<const MediaFolder> folder_;
    CurlHTTPOptions options_;
    std::mutex mutex_;
    std::unique_ptr<CurlWorker> worker_;
};

}  // namespace xel
