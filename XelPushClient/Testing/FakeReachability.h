#pragma once

#include <memory>
#include <vector>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"

namespace xel {

/// The links of a machine, as the test sets them. At first Wi-Fi, reachable.
/// Thread: the run loop.
class FakeReachabilityFactory final : public ReachabilityFactory {
public:
    explicit FakeReachabilityFactory(std::shared_ptr<NSRunLoop> runLoop);

    [[nodiscard]] std::shared_ptr<PushClientServerReachability> reachabilityForInternetConnection() override;
    [[nodiscard]] PushClientServerReachabilityNetworkType getConnectionType() override;

    /// Sets the links and posts a report to every started monitor, even when nothing changed.
    void setNetwork(bool isReachable, PushClientServerReachabilityNetworkType type);

    /// While set, `startNotifier` returns false and no changes are reported.
    void setNotifierUnavailable(bool isUnavailable);

    /// Monitors that are held and running.
    [[nodiscard]] std::size_t startedCount() const;

private:
    struct Links;
    class Monitor;

    std::shared_ptr<Links> links_;
    std::vector<std::weak_ptr<Monitor>> monitors_;
};

}  // namespace xel
