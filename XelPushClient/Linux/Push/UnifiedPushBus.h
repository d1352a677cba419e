#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// Names of distributors on the session's bus.
struct DistributorNames {
    std::vector<std::string> running;
    std::vector<std::string> activatable;  ///< the bus starts them when they are called
};

/// The session's bus as a UnifiedPush connector sees it (UnifiedPush over D-Bus, 0.3.0): the
/// distributors, and what they call.
///
/// Thread: the run loop; answers and calls come on it, never from inside an operation, and not at all once
/// the bus object is dropped.
class UnifiedPushBus {
public:
    /// What a distributor calls. Only calls of the right shape arrive: texts of the lengths that are allowed,
    /// an endpoint that is a URL, a message of 1 to 4096 octets.
    struct Calls {
        std::function<void(const std::string& token, const Data& message)> message;
        std::function<void(const std::string& token, const std::string& endpoint)> newEndpoint;
        std::function<void(const std::string& token)> unregistered;
    };
    using Found = std::function<void(const Result<DistributorNames>&)>;
    using Registered = std::function<void(const std::optional<NSError>&)>;

    virtual ~UnifiedPushBus() = default;

    /// Takes the host's name on the bus, so that calls arrive from now on. Once.
    virtual void open(Calls calls) = 0;

    /// An error when there is no bus, or the host's name belongs to another program.
    virtual void findDistributors(Found found) = 0;

    /// Without an error once the distributor has agreed; the endpoint comes by a call, before or after that.
    virtual void registerWith(const std::string& distributor, const std::string& token,
                              Registered registered) = 0;

    /// Nobody waits for what comes of it.
    virtual void unregisterFrom(const std::string& distributor, const std::string& token) = 0;
};

}  // namespace xel
