#include "XelPushClient/Linux/Network/NetlinkReachability.h"

#include <utility>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Network/NetlinkSocket.h"
#include "XelPushClient/Linux/Network/NetworkKind.h"

namespace xel {

PushClientServerReachabilityNetworkType networkTypeTowards(const std::string& brokerHost,
                                                           const std::optional<DefaultRoute>& route) {
    if (isLoopbackHost(brokerHost)) {
        return PushClientServerReachabilityWifiNetworkType;
    }
    return route ? route->networkType : PushClientServerReachabilityNoNetworkFoundType;
}

NetlinkReachability::NetlinkReachability(std::shared_ptr<AsioRunLoop> runLoop, BrokerHostQuery brokerHost)
    : runLoop_(std::move(runLoop)), brokerHost_(std::move(brokerHost)) {}

NetlinkReachability::~NetlinkReachability() = default;

bool NetlinkReachability::isReachable() const {
    return currentReachabilityStatus() != PushClientServerReachabilityNoNetworkFoundType;
}

PushClientServerReachabilityNetworkType NetlinkReachability::currentReachabilityStatus() const {
    // Without a watch nobody keeps the last route up to date.
    return networkTypeTowards(brokerHost_(), events_ != nullptr ? lastRoute_ : readDefaultRoute());
}

void NetlinkReachability::setReachabilityBlock(Block block) {
    block_ = std::move(block);
}

bool NetlinkReachability::startNotifier() {
    if (events_ == nullptr) {
        events_ = NetlinkEvents::watch(runLoop_->ioContext(), [this] { routesMayHaveChanged(); });
        // Read behind the start of the watch, so that no change falls between the two.
        lastRoute_ = readDefaultRoute();
    }
    return events_ != nullptr;
}

void NetlinkReachability::stopNotifier() {
    events_.reset();
}

/// Runs in a handler of the context; the host hears about it as the run loop's next block.
void NetlinkReachability::routesMayHaveChanged() {
    lastRoute_ = readDefaultRoute();
    runLoop_->post(life_.guarded([](NetlinkReachability& self) {
        if (self.events_ != nullptr && self.block_) {
            const Block block = self.block_;  // it may set another one
            block(self);
        }
    }));
}

NetlinkReachabilityFactory::NetlinkReachabilityFactory(std::shared_ptr<AsioRunLoop> runLoop,
                                                       BrokerHostQuery brokerHost)
    : runLoop_(std::move(runLoop)), brokerHost_(std::move(brokerHost)) {}

std::shared_ptr<PushClientServerReachability>
NetlinkReachabilityFactory::reachabilityForInternetConnection() {
    return std::make_shared<NetlinkReachability>(runLoop_, brokerHost_);
}

PushClientServerReachabilityNetworkType NetlinkReachabilityFactory::getConnectionType() {
    return networkTypeTowards(brokerHost_(), readDefaultRoute());
}

}  // namespace xel
