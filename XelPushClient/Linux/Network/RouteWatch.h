#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "XelPushClient/Linux/Network/NetworkState.h"

namespace xel {

class AsioRunLoop;
class NetlinkEvents;

/// The default route, kept up to date by the kernel's events: one socket for all who follow it. Thread: the
/// run loop's.
class RouteWatch {
public:
    explicit RouteWatch(AsioRunLoop& runLoop);
    ~RouteWatch();
    RouteWatch(const RouteWatch&) = delete;
    RouteWatch& operator=(const RouteWatch&) = delete;

    /// False when the system has no such events for this process.
    [[nodiscard]] bool isWatching() const { return events_ != nullptr; }
    /// As of the last event.
    [[nodiscard]] const std::optional<DefaultRoute>& route() const { return route_; }

    /// Calls the follower after each event, in a handler of the loop's context, where it may not end a watch:
    /// it posts.
    void follow(const void* follower, std::function<void()> routesMayHaveChanged);
    void unfollow(const void* follower);

private:
    void readRoutes();

    std::optional<DefaultRoute> route_;
    std::map<const void*, std::function<void()>> followers_;
    std::unique_ptr<NetlinkEvents> events_;
};

/// The watch of those who follow at the moment; without any there is none.
class SharedRouteWatch {
public:
    /// The watch that the others have, or a new one. Null when there can be none.
    [[nodiscard]] std::shared_ptr<RouteWatch> join(AsioRunLoop& runLoop);

private:
    std::weak_ptr<RouteWatch> watch_;
};

}  // namespace xel
