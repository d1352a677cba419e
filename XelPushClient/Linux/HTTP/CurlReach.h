#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <curl/curl.h>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Linux/HTTP/CurlURL.h"
#include "XelPushClient/Linux/Network/NetworkKind.h"

namespace xel {

/// Where one transfer may go at all: by a proxy or not, and to which addresses. An address is looked at when
/// its socket is made, so that neither a redirect nor a name whose address has changed since leads elsewhere.
///
/// Owner: the transfer. Thread: the worker's.
class CurlReach {
public:
    /// As `CurlHTTPOptions::mayReach` says; empty: every host may be asked. It outlives the reach.
    explicit CurlReach(const std::function<bool(NetworkKind)>& mayReach) : mayReach_(mayReach) {}
    CurlReach(const CurlReach&) = delete;
    CurlReach& operator=(const CurlReach&) = delete;

    /// Has the handle ask before each connection; the handle is done with before the reach goes.
    void watch(CURL* handle);

    /// Before the request goes out to a URL, at first and after each redirect: sets the handle's proxy and
    /// forgets the refusal before. The error when the URL itself says why it must not be asked.
    [[nodiscard]] std::optional<NSError> head(CURL* handle, std::string_view url, const URLOrigin& origin);

    /// Whether a socket to the address may be made.
    [[nodiscard]] bool mayConnectTo(const sockaddr& address);
    /// Why the last address was not asked.
    [[nodiscard]] const std::optional<NSError>& refusal() const { return refusal_; }

private:
    void chooseProxy(CURL* handle);
    [[nodiscard]] std::optional<NSError> refusalOf(std::string_view url) const;
    static curl_socket_t onOpenSocket(void* self, curlsocktype purpose, curl_sockaddr* address);

    const std::function<bool(NetworkKind)>& mayReach_;
    URLOrigin origin_;
    bool isByProxy_ = false;
    std::optional<NSError> refusal_;
};

/// The proxy that the environment names for a request to the origin, by libcurl's rules: http_proxy;
/// https_proxy or HTTPS_PROXY; for both all_proxy or ALL_PROXY. Empty: none, also for a host of no_proxy or
/// NO_PROXY. For whoever must know beforehand whether there is one, which libcurl does not tell.
[[nodiscard]] std::string proxyOfEnvironment(const URLOrigin& origin);

/// Whether the host stands in a list of hosts without a proxy: "*", or names, which stand for those below
/// them too, addresses and networks ("10.0.0.0/8"), with commas or blanks between.
[[nodiscard]] bool isWithoutProxy(std::string_view host, std::string_view list);

}  // namespace xel
