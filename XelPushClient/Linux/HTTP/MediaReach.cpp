#include "XelPushClient/Linux/HTTP/MediaReach.h"

#include <algorithm>
#include <string>
#include <utility>

#include <boost/asio/ip/tcp.hpp>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/HTTP/CurlURL.h"
#include "XelPushClient/Linux/Network/LoopbackHost.h"
#include "XelPushClient/Linux/Network/NameLookup.h"

namespace xel {

namespace {

std::string restHost(const Endpoints& endpoints) {
    // In production each application has a host of its own, below the one that all share and in its network.
    const auto origin =
        originOfURL(isDevelopment() ? endpoints.kLoopBackLocalSSLAddress
                                    : formatted(endpoints.kLoopBackSSLAddress, endpoints.kBrokerAddress));
    return origin ? origin->host : std::string();
}

bool liesIn(const std::string& host, NetworkKind kind) {
    if (const auto literal = networkKindOfLiteral(host)) {
        return *literal == kind;
    }
    if (isLoopbackHost(host)) {
        return kind == NetworkKind::Loopback;
    }
    const auto addresses = lookUpName(host).addresses;
    return std::any_of(addresses.begin(), addresses.end(), [kind](const boost::asio::ip::address& address) {
        return networkKindOf(*boost::asio::ip::tcp::endpoint(address, 0).data()) == kind;
    });
}

}  // namespace

std::function<bool(NetworkKind)> networksOfService(Endpoints endpoints) {
    return [endpoints = std::move(endpoints)](NetworkKind kind) { return liesIn(restHost(endpoints), kind); };
}

}  // namespace xel
