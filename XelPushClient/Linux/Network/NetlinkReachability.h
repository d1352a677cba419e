#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Linux/Network/NetworkState.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"

namespace xel {

class AsioRunLoop;
class RouteWatch;
class SharedRouteWatch;

/// Returns the host name of the broker that the process talks to at the moment.
using BrokerHostQuery = std::function<std::string()>;

/// Reachability by the kernel's routes: reachable with a default route whose link is up, or when the broker's
/// host is this machine itself. After an event of a link, an address or a route the routes are read again.
///
/// Before `startNotifier` each reading asks the kernel; afterwards it is the one of the last event. All that
/// come from one factory follow one watch.
class NetlinkReachability final : public PushClientServerReachability {
public:
    NetlinkReachability(std::shared_ptr<AsioRunLoop> runLoop, BrokerHostQuery brokerHost,
                        std::shared_ptr<SharedRouteWatch> watches);
    ~NetlinkReachability() override;
    NetlinkReachability(const NetlinkReachability&) = delete;
    NetlinkReachability& operator=(const NetlinkReachability&) = delete;

    [[nodiscard]] bool isReachable() const override;
    [[nodiscard]] PushClientServerReachabilityNetworkType currentReachabilityStatus() const override;
    void setReachabilityBlock(Block block) override;
    bool startNotifier() override;
    void stopNotifier() override;

private:
    void routesMayHaveChanged();

    std::shared_ptr<AsioRunLoop> runLoop_;
    BrokerHostQuery brokerHost_;
    Block block_;
    std::shared_ptr<SharedRouteWatch> watches_;
    std::shared_ptr<RouteWatch> watch_;  // null while it is not started
    Lifeline<NetlinkReachability> life_{*this};
};

class NetlinkReachabilityFactory final : public ReachabilityFactory {
public:
    NetlinkReachabilityFactory(std::shared_ptr<AsioRunLoop> runLoop, BrokerHostQuery brokerHost);

    [[nodiscard]] std::shared_ptr<PushClientServerReachability> reachabilityForInternetConnection() override;
    [[nodiscard]] PushClientServerReachabilityNetworkType getConnectionType() override;

private:
    std::shared_ptr<AsioRunLoop> runLoop_;
    BrokerHostQuery brokerHost_;
    std::shared_ptr<SharedRouteWatch> watches_;
};

/// The kind of network that a default route, or none, and the broker's host amount to.
[[nodiscard]] PushClientServerReachabilityNetworkType networkTypeTowards(
    const std::string& brokerHost, const std::optional<DefaultRoute>& route);

}  // namespace xel
