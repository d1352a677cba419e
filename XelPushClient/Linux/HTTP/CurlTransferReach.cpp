#include <array>
#include <exception>
#include <string>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/HTTP/CurlErrors.h"
#include "XelPushClient/Linux/HTTP/CurlProxy.h"
#include "XelPushClient/Linux/HTTP/CurlTransfer.h"

// Where a request may go at all. An address is looked at when its socket is made, so that neither a redirect
// nor a name whose address has changed since leads elsewhere.

namespace xel {

namespace {

std::string textOf(const sockaddr& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    const void* const octets =
        address.sa_family == AF_INET6
            ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr)
            : static_cast<const void*>(&reinterpret_cast<const sockaddr_in&>(address).sin_addr);
    const char* const written = ::inet_ntop(address.sa_family, octets, text.data(), text.size());
    return written != nullptr ? written : "(unknown)";
}

}  // namespace

void CurlTransfer::applyReach() {
    if (options_.mayReach != nullptr) {
        curl_easy_setopt(handle(), CURLOPT_OPENSOCKETFUNCTION, &CurlTransfer::onOpenSocket);
        curl_easy_setopt(handle(), CURLOPT_OPENSOCKETDATA, this);
    }
}

void CurlTransfer::applyProxy() {
    if (origin_.isLoopback()) {
        // A proxy of the environment cannot reach this machine's own service.
        isByProxy_ = false;
        curl_easy_setopt(handle(), CURLOPT_PROXY, "");
    } else if (options_.mayReach == nullptr) {
        curl_easy_setopt(handle(), CURLOPT_PROXY, nullptr);
    } else {
        // A proxy may lie anywhere. libcurl does not tell whether a socket leads to it, and so is told.
        const std::string proxy = proxyOfEnvironment(origin_);
        isByProxy_ = !proxy.empty();
        curl_easy_setopt(handle(), CURLOPT_PROXY, proxy.c_str());
        curl_easy_setopt(handle(), CURLOPT_NOPROXY, "");
    }
}

/// Why the URL must not be asked, where it says so itself.
std::optional<NSError> CurlTransfer::refusalOfURL() {
    if (options_.mayReach == nullptr) {
        return std::nullopt;
    }
    if (hasUserInfo(request_.url)) {
        return makeURLError(NSURLErrorCode::BadURL,
                            formatted("The request to %@ was not sent: no user name and no password may "
                                      "stand in its URL",
                                      origin_.text()));
    }
    const auto kind = isByProxy_ ? networkKindOfLiteral(origin_.host) : std::nullopt;
    if (kind && !options_.mayReach(*kind)) {
        return makeURLError(NSURLErrorCode::DataNotAllowed,
                            formatted("The request to %@ was not sent: through a proxy no host is asked by "
                                      "its address, but by its name",
                                      origin_.text()));
    }
    return std::nullopt;
}

bool CurlTransfer::mayConnectTo(const sockaddr& address) {
    if (isByProxy_) {
        return true;
    }
    const NetworkKind kind = networkKindOf(address);
    if (kind == NetworkKind::Public || options_.mayReach(kind)) {
        return true;
    }
    refusal_ = makeURLError(
        NSURLErrorCode::DataNotAllowed,
        formatted("The request to %@ was not sent: %@ is %@, which nothing is fetched from unless the "
                  "application allows it",
                  origin_.text(), textOf(address), describeNetworkKind(kind)));
    return false;
}

curl_socket_t CurlTransfer::onOpenSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) {
    try {
        if (!static_cast<CurlTransfer*>(self)->mayConnectTo(address->addr)) {
            return CURL_SOCKET_BAD;
        }
    } catch (const std::exception&) {
        return CURL_SOCKET_BAD;
    }
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

}  // namespace xel
