#include "XelPushClient/Linux/HTTP/CurlProxy.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/network_v4.hpp>
#include <boost/asio/ip/network_v6.hpp>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Linux/Network/LoopbackHost.h"
#include "XelPushClient/Linux/Process/EnvironmentVariable.h"

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

}  // namespace xel
