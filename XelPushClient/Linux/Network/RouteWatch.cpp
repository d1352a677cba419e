#include "XelPushClient/Linux/Network/RouteWatch.h"

#include <utility>

#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Network/NetlinkSocket.h"

namespace xel {

RouteWatch::RouteWatch(AsioRunLoop& runLoop)
    : events_(NetlinkEvents::watch(runLoop.ioContext(), [this] { readRoutes(); })) {
    // Read behind the start of the watch, so that no change falls between the two.
    route_ = readDefaultRoute();
}

RouteWatch::~RouteWatch() = default;

void RouteWatch::follow(const void* follower, std::function<void()> routesMayHaveChanged) {
    followers_.insert_or_assign(follower, std::move(routesMayHaveChanged));
}

void RouteWatch::unfollow(const void* follower) {
    followers_.erase(follower);
}

void RouteWatch::readRoutes() {
    route_ = readDefaultRoute();
    for (const auto& [follower, routesMayHaveChanged] : followers_) {
        routesMayHaveChanged();
    }
}

std::shared_ptr<RouteWatch> SharedRouteWatch::join(AsioRunLoop& runLoop) {
    auto watch = watch_.lock();
    if (!watch) {
        watch = std::make_shared<RouteWatch>(runLoop);
        if (!watch->isWatching()) {
            return nullptr;
        }
        watch_ = watch;
    }
    return watch;
}

}  // namespace xel
