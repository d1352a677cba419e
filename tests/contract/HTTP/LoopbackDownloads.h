#pragma once

#include "XelPushClient/Linux/HTTP/CurlURLSession.h"

namespace xel::contract {

/// Limits of a download from the servers of a test, all of which are on this machine.
inline CurlHTTPOptions loopbackDownloads() {
    CurlHTTPOptions options = downloadOptions();
    options.mayReach = [](NetworkKind kind) { return kind == NetworkKind::Loopback; };
    return options;
}

}  // namespace xel::contract
