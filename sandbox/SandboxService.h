#pragma once

#include <memory>

#include "sandbox/broker/Broker.h"
#include "sandbox/state/SandboxInfo.h"
#include "sandbox/state/SandboxOptions.h"

namespace xel::sandbox {

/// The local push service: what a developer runs beside a host while writing it. A real broker (a mosquitto
/// child process) with the access rules, the relay and the delivery reports of the push service, and a REST
/// backend with installations; on the loopback interface only.
///
/// Operations are called on any thread but the service's own, and block; `stop` may be called on another
/// thread while `waitUntilStopped` waits, the others one at a time. One service at a time uses a state
/// folder; a process may run several on different folders and ports.
class SandboxService {
public:
    /// Starts nothing yet.
    explicit SandboxService(SandboxOptions options);
    /// Stops the service.
    ~SandboxService();
    SandboxService(const SandboxService&) = delete;
    SandboxService& operator=(const SandboxService&) = delete;

    /// Starts everything and returns when all of it is up; then the info file is there. Throws PortTakenError
    /// or SandboxError with nothing left running. To be called once.
    void start();

    /// Ends everything; the broker's process is gone when this returns. Does nothing the second time.
    void stop();

    /// Returns after `stop`. Throws SandboxError when the service could not go on.
    void waitUntilStopped();

    /// Where the service is reached. Valid after `start`.
    [[nodiscard]] const SandboxInfo& info() const;

    /// The broker's process id; 0 while it is stopped.
    [[nodiscard]] int brokerPid() const;

    /// Ends the broker alone, as a restart of a real one would look to its clients. Its ports stay closed
    /// until `startBroker`; sending through the REST backend answers 503 meanwhile.
    void stopBroker();

    /// Starts the broker again on the same ports, with or without the sessions of its clients.
    void startBroker(BrokerSessions sessions);

    /// `stopBroker` and `startBroker` in one.
    void restartBroker(BrokerSessions sessions);

private:
    class Running;

    [[nodiscard]] Running& requireRunning() const;

    SandboxOptions options_;
    std::unique_ptr<Running> running_;
};

}  // namespace xel::sandbox
