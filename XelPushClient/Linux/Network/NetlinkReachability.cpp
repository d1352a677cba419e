#include "XelPushClient/Linux/Network/NetlinkReachability.h"

#include <utility>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Network/NetworkKind.h"
#include "XelPushClient/Linux/Network/RouteWatch.h"

namespace xel {

PushClientServerReachabilityNetworkType networkTypeTowards(const std::string& brokerHost,
                                                           const std::optional<DefaultRoute>& route) {
    if (isLoopbackHost(brokerHost)) {
        return PushClientServerReachabilityWifiNetworkType;
    }
    return route ? route->networkType : PushClientServerReachabilityNoNetworkFoundType;
}

NetlinkReachability::NetlinkReachability(std::shared_ptr<AsioRunLoop> runLoop, BrokerHostQuery brokerHost,
                                         std::shared_ptr<SharedRouteWatch> watches)
    : runLoop_(std::move(runLoop)), brokerHost_(std::move(brokerHost)), watches_(std::move(watches)) {}

NetlinkReachability::~NetlinkReachability() {
    stopNotifier();
}

bool NetlinkReachability::isReachable() const {
    return currentReachabilityStatus() != PushClientServerReachabilityNoNetworkFoundType;
}

PushClientServerReachabilityNetworkType NetlinkReachability::currentReachabilityStatus() const {
    // Without a watch nobody keeps the last route up to date.
    return networkTypeTowards(brokerHost_(), watch_ != nullptr ? watch_->route() : readDefaultRoute());
}

void NetlinkReachability::setReachabilityBlock(Block block) {
    block_ = std::move(block);
}

bool NetlinkReachability::startNotifier() {
    if (watch_ == nullptr) {
        watch_ = watches_->join(*runLoop_);
        if (watch_ != nullptr) {
            watch_->follow(this, [this] { routesMayHaveChanged(); });
        }
    }
    return watch_ != nullptr;
}

void NetlinkReachability::stopNotifier() {
    if (const auto watch = std::exchange(watch_, nullptr)) {
        watch->unfollow(this);
    }
}

/// Runs in a handler of the context; the host hears about it as the run loop's next block.
void NetlinkReachability::routesMayHaveChanged() {
    runLoop_->post(life_.guarded([](NetlinkReachability& self) {
        if (self.watch_ != nullptr && self.block_) {
            const Block block = self.block_;  // it may set another one
            block(self);
        }
    }));
}

NetlinkReachabilityFactory::NetlinkReachabilityFactory(std::shared_ptr<AsioRunLoop> runLoop,
                                                       BrokerHostQuery brokerHost)
    : runLoop_(std::move(runLoop)),
      brokerHost_(std::move(brokerHost)),
      watches_(std::make_shared<SharedRouteWatch>()) {}

std::shared_ptr<PushClientServerReachability>
NetlinkReachabilityFactory::reachabilityForInternetConnection() {
    return std::make_shared<NetlinkReachability>(runLoop_, brokerHost_, watches_);
}

PushClientServerReachabilityNetworkType NetlinkReachabilityFactory::getConnectionType() {
    return networkTypeTowards(brokerHost_(), readDefaultRoute());
}

}  // namespace xel
