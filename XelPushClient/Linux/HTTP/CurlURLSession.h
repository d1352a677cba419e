#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/Network/NetworkKind.h"
#include "XelPushClient/Platform/Endpoints.h"
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
    void failLater(DownloadCompletion completion, std::string_view why) const;

    std::weak_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<const MediaFolder> folder_;
    CurlHTTPOptions options_;
    std::mutex mutex_;
    std::unique_ptr<CurlWorker> worker_;
};

/// Tells whether the service's own REST host, in the environment that the process talks to at that moment,
/// lies in such a network. Media may come from there: whoever runs a service inside a network keeps the media
/// there. Looks the REST host up, and so blocks. From any thread.
[[nodiscard]] std::function<bool(NetworkKind)> networksOfService(Endpoints endpoints);

}  // namespace xel
