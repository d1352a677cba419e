#pragma once

#include <span>

#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/Testing/Simulation/Fault.h"
#include "XelPushClient/Testing/Simulation/FlappingNetwork.h"
#include "XelPushClient/Testing/Simulation/SimulatedBackend.h"

namespace xel {

/// What a simulated service is made of.
struct SimulatedParts {
    explicit SimulatedParts(FakeMachine& itsMachine)
        : machine(itsMachine), backend(itsMachine), flapping(itsMachine) {}

    FakeMachine& machine;
    SimulatedBackend backend;
    FlappingNetwork flapping;
};

/// What a kind of fault does to the fakes. A momentary one has no end; one that waits for what it
/// strikes tells whether it still does.
struct FaultEffect {
    using Act = void (*)(SimulatedParts& parts, const Fault& fault);

    FaultKind what = FaultKind::BrokerStopsListening;
    Act begin = nullptr;
    Act end = nullptr;
    bool (*isWaiting)(const SimulatedParts& parts, const Fault& fault) = nullptr;
};

[[nodiscard]] std::span<const FaultEffect> brokerFaultEffects();
[[nodiscard]] std::span<const FaultEffect> diskFaultEffects();
[[nodiscard]] std::span<const FaultEffect> backendFaultEffects();
[[nodiscard]] std::span<const FaultEffect> networkFaultEffects();

}  // namespace xel
