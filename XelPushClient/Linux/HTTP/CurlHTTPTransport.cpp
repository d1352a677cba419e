#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"

#include <utility>

#include "XelPushClient/Linux/HTTP/CurlWorker.h"

namespace xel {

CurlHTTPTransport::CurlHTTPTransport(std::weak_ptr<NSRunLoop> runLoop, CurlHTTPOptions options)
    : worker_(std::make_unique<CurlWorker>(std::move(runLoop), std::move(options))) {}

CurlHTTPTransport::~CurlHTTPTransport() = default;

void CurlHTTPTransport::send(HTTPRequest request, Completion completion) {
    worker_->add(std::move(request), std::move(completion));
}

}  // namespace xel
