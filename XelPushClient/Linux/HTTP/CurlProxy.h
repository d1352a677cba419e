#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Linux/HTTP/CurlURL.h"

namespace xel {

/// The proxy that the environment names for a request to the origin, by libcurl's rules: http_proxy;
/// https_proxy or HTTPS_PROXY; for both all_proxy or ALL_PROXY. Empty: none, also for a host of no_proxy or
/// NO_PROXY. For whoever must know beforehand whether there is one, which libcurl does not tell.
[[nodiscard]] std::string proxyOfEnvironment(const URLOrigin& origin);

/// Whether the host stands in a list of hosts without a proxy: "*", or names, which stand for those below
/// them too, addresses and networks ("10.0.0.0/8"), with commas or blanks between.
[[nodiscard]] bool isWithoutProxy(std::string_view host, std::string_view list);

}  // namespace xel
