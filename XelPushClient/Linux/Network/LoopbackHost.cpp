#include "XelPushClient/Linux/Network/LoopbackHost.h"

#include <algorithm>
#include <cctype>
#include <string>

#include <arpa/inet.h>

namespace xel {

namespace {

constexpr std::string_view kLocalName = "localhost";

bool isLocalName(std::string_view host) {
    std::string name(host);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    if (name.ends_with('.')) {
        name.pop_back();
    }
    return name == kLocalName || name.ends_with(".localhost");
}

}  // namespace

std::string_view withoutBrackets(std::string_view host) {
    const bool isBracketed = host.starts_with('[') && host.ends_with(']');
    return isBracketed ? host.substr(1, host.size() - 2) : host;
}

bool isLoopbackHost(std::string_view host) {
    const std::string text(withoutBrackets(host));
    in_addr address4{};
    if (inet_pton(AF_INET, text.c_str(), &address4) == 1) {
        return (ntohl(address4.s_addr) >> 24U) == 127U;
    }
    in6_addr address6{};
    if (inet_pton(AF_INET6, text.c_str(), &address6) == 1) {
        return IN6_IS_ADDR_LOOPBACK(&address6) != 0;
    }
    return isLocalName(text);
}

}  // namespace xel
