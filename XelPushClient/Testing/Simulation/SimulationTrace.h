#pragma once

#include <functional>
#include <string_view>

#include "XelPushClient/Testing/Broker/FakeBrokerObserver.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/Testing/Simulation/SimulatedBackend.h"

namespace xel {

/// Writes down, a line each, what passes between the clients of a machine and its service, and what they
/// store. Machine and backend outlive it. Thread: the machine's.
class SimulationTrace final : public FakeBrokerObserver, public SimulatedBackendObserver {
public:
    using Write = std::function<void(std::string_view line)>;

    SimulationTrace(FakeMachine& machine, SimulatedBackend& backend, Write write);
    ~SimulationTrace() override;
    SimulationTrace(const SimulationTrace&) = delete;
    SimulationTrace& operator=(const SimulationTrace&) = delete;

    /// One line, with the virtual time before it.
    void note(std::string_view text) const;

    void brokerDidReceive(const FakeBrokerRecord& record) override;
    void brokerDidSend(const FakeBrokerRecord& record) override;
    void brokerDidSendOctets(std::string_view octets) override;
    void brokerDidLoseClient(std::string_view clientId) override;
    void brokerDidForgetSession(std::string_view clientId) override;
    void backendDidReceive(const HTTPRequest& request) override;
    void backendDidAnswer(const HTTPRequest& request, const Result<HTTPResponse>& answer) override;

private:
    FakeMachine& machine_;
    SimulatedBackend& backend_;
    Write write_;
};

}  // namespace xel
