#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/Testing/Simulation/Fault.h"
#include "XelPushClient/Testing/Simulation/SimulatedBackend.h"

namespace xel {

class SimulationTrace;
struct SimulatedParts;

/// The service that the clients of a `FakeMachine` speak to, and everything that can go wrong with it.
///
///     FakeMachine machine;
///     SimulatedService service(machine);
///     PushClientManager push(machine.machine(), machine.makeHome());
///     …
///     service.inject("broker stops listening for 30 s");
///     machine.advanceBy(60s);
///
/// Faults end by themselves on virtual time, or when they are healed; they go on when a client is
/// killed. Several may be there at once. The machine outlives the service. Thread: the machine's.
class SimulatedService {
public:
    explicit SimulatedService(FakeMachine& machine);
    ~SimulatedService();
    SimulatedService(const SimulatedService&) = delete;
    SimulatedService& operator=(const SimulatedService&) = delete;

    /// Lets the fault begin. One of the same kind and text that is there ends first.
    void inject(const Fault& fault);
    /// The same, written as a line. Throws `std::invalid_argument`, which says what is wrong with it.
    void inject(std::string_view line);

    /// Ends all faults, or those of one kind. What they have destroyed stays destroyed.
    void heal();
    void heal(FaultKind what);

    /// The faults that last or wait, in the order in which they began.
    [[nodiscard]] std::vector<Fault> faults() const;

    /// Gets a line for everything that happens: faults, each packet and request both ways, each commit.
    /// Two runs that do the same give the same lines.
    using Trace = std::function<void(std::string_view line)>;
    void setTrace(Trace trace);

    /// Its REST backend; the broker is the machine's.
    [[nodiscard]] SimulatedBackend& backend();

private:
    struct Active {
        Fault fault;
        std::shared_ptr<NSTimer> end;
    };

    void endEach(const std::function<bool(const Fault&)>& isMeant);
    void note(std::string_view event, const Fault& fault) const;

    std::unique_ptr<SimulatedParts> parts_;
    std::vector<Active> active_;
    std::unique_ptr<SimulationTrace> trace_;
    Lifeline<SimulatedService> life_{*this};
};

}  // namespace xel
