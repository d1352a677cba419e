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

    /// Sets the links and tells every started monitor, posted. The same values again tell too.
    void setNetwork(bool isReachable, PushClientServerReachabilityNetworkType type);

    /// While set, `startNotifier` answers false and no changes are told.
    void setNotifierUnavailable(bool isUnavailable);

    /// Monitors that were started, not stopped, and are still held.
    [[nodiscard]] std::size_t startedCount() const;

private:
    struct Links;
    class Monitor;

    std::shared_ptr<Links> links_;
    std::vector<std::weak_ptr<Monitor>> monitors_;
};

}  // namespace xel
