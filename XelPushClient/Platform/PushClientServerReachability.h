#pragma once

#include <functional>
#include <memory>

namespace xel {

enum class PushClientServerReachabilityNetworkType : unsigned {
    PushClientServerReachabilityNoNetworkFoundType = 0,
    PushClientServerReachabilityCelluarNetworkType = 1,
    PushClientServerReachabilityWifiNetworkType = 2,
};
using enum PushClientServerReachabilityNetworkType;

/// Watches whether the network could carry a connection. Only a hint: the proof is a connection.
/// Thread: the machine's run loop.
class PushClientServerReachability {
public:
    using Block = std::function<void(PushClientServerReachability& reachability)>;

    virtual ~PushClientServerReachability() = default;

    [[nodiscard]] virtual bool isReachable() const = 0;
    [[nodiscard]] virtual PushClientServerReachabilityNetworkType currentReachabilityStatus() const = 0;

    /// Called on the run loop after a change, never inside one of the calls here; perhaps without any
    /// change.
    virtual void setReachabilityBlock(Block block) = 0;

    /// False when the system cannot report changes; the two readings above still work.
    virtual bool startNotifier() = 0;
    virtual void stopNotifier() = 0;
};

/// Where monitors come from. Thread: the machine's run loop.
class ReachabilityFactory {
public:
    virtual ~ReachabilityFactory() = default;
    [[nodiscard]] virtual std::shared_ptr<PushClientServerReachability>
    reachabilityForInternetConnection() = 0;
    /// The kind of network in use at this moment.
    [[nodiscard]] virtual PushClientServerReachabilityNetworkType getConnectionType() = 0;
};

}  // namespace xel
