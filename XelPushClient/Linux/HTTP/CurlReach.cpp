#include "XelPushClient/Linux/HTTP/CurlReach.h"

#include <algorithm>
#include <array>
#include <exception>
#include <initializer_list>
#include <utility>

#include <arpa/inet.h>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>
#include <netinet/in.h>
#include <sys/socket.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/HTTP/CurlErrors.h"
#include "XelPushClient/Linux/Network/NetworkKind.h"
#include "XelPushClient/Linux/Process/EnvironmentSettings.h"

namespace xel {

namespace ip = boost::asio::ip;

namespace {

std::string firstVariable(std::initializer_list<const char*> names) {
    for (const char* name : names) {
        if (auto value = environmentVariable(name)) {
            return std::move(*value);
        }
    }
    return {};
}

template <class Network, class Address>
bool covers(const Network& network, const Address& address) {
    return Network(address, network.prefix_length()).canonical() == network.canonical();
}

/// The entry is an address or a network.
bool covers(const std::string& entry, const ip::address& address) {
    boost::system::error_code error;
    if (entry.find('/') == std::string::npos) {
        return ip::make_address(entry, error) == address && !error;
    }
    if (address.is_v4()) {
        const auto network = ip::make_network_v4(entry, error);
        return !error && covers(network, address.to_v4());
    }
    const auto network = ip::make_network_v6(entry, error);
    return !error && covers(network, address.to_v6());
}

std::string_view withoutDots(std::string_view name) {
    while (name.starts_with('.')) {
        name.remove_prefix(1);
    }
    if (name.ends_with('.')) {
        name.remove_suffix(1);
    }
    return name;
}

std::string textOf(const sockaddr& address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    const void* const octets =
        address.sa_family == AF_INET6
            ? static_cast<const void*>(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr)
            : static_cast<const void*>(&reinterpret_cast<const sockaddr_in&>(address).sin_addr);
    const char* const written = ::inet_ntop(address.sa_family, octets, text.data(), text.size());
    return written != nullptr ? written : "(unknown)";
}

bool isAtOrBelow(const std::string& host, const std::string& name) {
    return host == name || host.ends_with('.' + name);
}

}  // namespace

bool isWithoutProxy(std::string_view host, std::string_view list) {
    constexpr std::string_view kBetween = ", \t";
    if (list == "*") {
        return true;
    }
    const std::string name = lowerCase(withoutDots(withoutBrackets(host)));
    boost::system::error_code isName;
    const auto address = ip::make_address(name, isName);
    for (auto begin = list.find_first_not_of(kBetween); begin != std::string_view::npos;
         begin = list.find_first_not_of(kBetween, begin)) {
        const auto end = std::min(list.find_first_of(kBetween, begin), list.size());
        const std::string entry = lowerCase(withoutDots(list.substr(begin, end - begin)));
        if (!entry.empty() && (isName ? isAtOrBelow(name, entry) : covers(entry, address))) {
            return true;
        }
        begin = end;
    }
    return false;
}

std::string proxyOfEnvironment(const URLOrigin& origin) {
    if (isWithoutProxy(origin.host, firstVariable({"no_proxy", "NO_PROXY"}))) {
        return {};
    }
    // HTTP_PROXY does not count: a CGI program's client can set it by a header of its own.
    return origin.scheme == "http" ? firstVariable({"http_proxy", "all_proxy", "ALL_PROXY"})
                                   : firstVariable({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"});
}

void CurlReach::watch(CURL* handle) {
    if (mayReach_ != nullptr) {
        curl_easy_setopt(handle, CURLOPT_OPENSOCKETFUNCTION, &CurlReach::onOpenSocket);
        curl_easy_setopt(handle, CURLOPT_OPENSOCKETDATA, this);
    }
}

std::optional<NSError> CurlReach::head(CURL* handle, std::string_view url, const URLOrigin& origin) {
    origin_ = origin;
    refusal_.reset();
    chooseProxy(handle);
    return refusalOf(url);
}

void CurlReach::chooseProxy(CURL* handle) {
    if (origin_.isLoopback()) {
        // A proxy of the environment cannot reach this machine's own service.
        isByProxy_ = false;
        curl_easy_setopt(handle, CURLOPT_PROXY, "");
    } else if (mayReach_ == nullptr) {
        curl_easy_setopt(handle, CURLOPT_PROXY, nullptr);
    } else {
        // A proxy may lie anywhere. libcurl does not tell whether a socket leads to it, and so is told.
        const std::string proxy = proxyOfEnvironment(origin_);
        isByProxy_ = !proxy.empty();
        curl_easy_setopt(handle, CURLOPT_PROXY, proxy.c_str());
        curl_easy_setopt(handle, CURLOPT_NOPROXY, "");
    }
}

std::optional<NSError> CurlReach::refusalOf(std::string_view url) const {
    if (mayReach_ == nullptr) {
        return std::nullopt;
    }
    // Media needs none, and what stands before the @ is there to be taken for the host.
    if (hasUserInfo(url)) {
        return makeURLError(NSURLErrorCode::BadURL,
                            formatted("The request to %@ was not sent: no user name and no password may "
                                      "stand in its URL",
                                      origin_.text()));
    }
    // Public addresses, too: behind the proxy somebody may use them for a network of their own.
    const auto kind = isByProxy_ ? networkKindOfLiteral(origin_.host) : std::nullopt;
    if (kind && !mayReach_(*kind)) {
        return makeURLError(NSURLErrorCode::DataNotAllowed,
                            formatted("The request to %@ was not sent: through a proxy no host is asked by "
                                      "its address, but by its name",
                                      origin_.text()));
    }
    return std::nullopt;
}

bool CurlReach::mayConnectTo(const sockaddr& address) {
    if (isByProxy_) {
        return true;
    }
    const NetworkKind kind = networkKindOf(address);
    if (kind == NetworkKind::Public || mayReach_(kind)) {
        return true;
    }
    refusal_ = makeURLError(
        NSURLErrorCode::DataNotAllowed,
        formatted("The request to %@ was not sent: %@ is %@, which nothing is fetched from unless the "
                  "application allows it",
                  origin_.text(), textOf(address), describeNetworkKind(kind)));
    return false;
}

curl_socket_t CurlReach::onOpenSocket(void* self, curlsocktype /*purpose*/, curl_sockaddr* address) {
    try {
        if (!static_cast<CurlReach*>(self)->mayConnectTo(address->addr)) {
            return CURL_SOCKET_BAD;
        }
    } catch (const std::exception&) {
        return CURL_SOCKET_BAD;
    }
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

}  // namespace xel
