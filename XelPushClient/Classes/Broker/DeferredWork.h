#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "XelPushClient/Classes/Broker/BrokerConnectionState.h"
#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Work that waits until the session is connected.
///
/// Observes the broadcast about the connection state for as long as work waits. Each piece runs once, as a
/// posted block on the manager's run loop behind the first such broadcast that finds the client connected.
/// Also when the client is connected already it waits for the next broadcast. Pieces run in the order in
/// which they were handed over, a host's and the library's own alike; the library's own belong to the
/// identity of then, and end with it. Owner: the manager. Thread: the manager's run loop.
class DeferredWork {
public:
    DeferredWork(const ClientLife& life, std::shared_ptr<NSRunLoop> runLoop,
                 std::shared_ptr<NSNotificationCenter> notificationCenter, const LogOutput& log,
                 const BrokerConnectionState& state);
    DeferredWork(const DeferredWork&) = delete;
    DeferredWork& operator=(const DeferredWork&) = delete;
    ~DeferredWork();

    /// A host's own block.
    void enqueueWhenSessionIsConnected(std::function<void()> block);

    /// What the library itself has to send for the identity that it has.
    void enqueueForThisIdentity(std::function<void()> block);
    /// The identity has ended: nothing of its own may go out under the next one. Hosts' blocks stay.
    void dropWorkOfIdentity();

private:
    enum class Owner { Host, Identity };
    struct Waiting;

    void enqueue(Owner owner, std::function<void()> block);
    void observe();

    std::shared_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<NSNotificationCenter> notificationCenter_;
    const LogOutput& log_;
    /// Posted blocks hold it weakly.
    std::shared_ptr<Waiting> waiting_;
    /// Numbers the pieces; read by the thread that broadcasts.
    std::shared_ptr<std::atomic<std::uint64_t>> nextNumber_;
    ClientLife::WayInto<DeferredWork> wayIn_;
};

}  // namespace xel
