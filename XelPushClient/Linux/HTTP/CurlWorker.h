#pragma once

#include <memory>
#include <thread>

#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/HTTP/CurlTransfer.h"
#include "XelPushClient/Platform/HTTPTransport.h"

namespace xel {

class NSRunLoop;

/// Carries out requests by libcurl, all of them on one thread of its own.
///
/// Completions are posted to the run loop, which is not kept alive; without it they are dropped uncalled.
/// Dropping the worker ends what is under way with `NSURLErrorCode::Cancelled`. Throws `std::runtime_error`
/// when libcurl cannot be started. Thread: `add` from any thread.
class CurlWorker {
public:
    CurlWorker(std::weak_ptr<NSRunLoop> runLoop, CurlHTTPOptions options);
    CurlWorker(const CurlWorker&) = delete;
    CurlWorker& operator=(const CurlWorker&) = delete;
    ~CurlWorker();

    /// With a sink the response comes without its body.
    void add(HTTPRequest request, HTTPTransport::Completion completion,
             std::shared_ptr<CurlBodySink> sink = nullptr);

private:
    class Core;

    std::shared_ptr<Core> core_;
    std::thread thread_;
};

}  // namespace xel
