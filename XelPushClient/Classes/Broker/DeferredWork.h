#pragma once

#include <functional>
#include <memory>

#include "XelPushClient/Classes/Broker/BrokerConnection.h"

namespace xel {

/// Work that waits until the session is connected.
///
/// Each piece observes the broadcast about the connection state and runs once, as a posted block on the
/// manager's run loop behind the first such broadcast that finds the client connected. Also when the client
/// is connected already it waits for the next broadcast. Pieces run in the order in which they were handed
/// over. Owner: the manager. Thread: the manager's run loop.
class DeferredWork {
public:
    DeferredWork(const Machine& machine, const Home& home, const LogOutput& log,
                 const BrokerConnection& connection);

    void enqueueWhenSessionIsConnected(std::function<void()> block);

private:
    const Machine& machine_;
    const Home& home_;
    const LogOutput& log_;
    std::shared_ptr<const BrokerConnection*> connection_;
};

}  // namespace xel
