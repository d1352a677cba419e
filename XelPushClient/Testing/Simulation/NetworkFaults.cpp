// What goes wrong between the clients and their service, and with their clock.

#include <array>
#include <chrono>
#include <cstddef>

#include "XelPushClient/Testing/Simulation/FaultEffects.h"

namespace xel {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kUsualRead = 65536;

template <FakeNetworkTrouble trouble>
constexpr FaultEffect troubling(FaultKind what) {
    return {what,
            [](SimulatedParts& parts, const Fault&) { parts.machine.network->setTrouble(trouble, true); },
            [](SimulatedParts& parts, const Fault&) { parts.machine.network->setTrouble(trouble, false); }};
}

template <FakeDirection direction>
constexpr FaultEffect breaking(FaultKind what) {
    return {what,
            [](SimulatedParts& parts, const Fault& fault) {
                parts.machine.network->breakAfter(direction, static_cast<std::size_t>(fault.amount));
            },
            [](SimulatedParts& parts, const Fault&) { parts.machine.network->forgetBreak(direction); },
            [](const SimulatedParts& parts, const Fault&) {
                return parts.machine.network->isBreakComing(direction);
            }};
}

void becomeLink(SimulatedParts& parts, const Fault& fault) {
    const bool isNone = fault.on == "none";
    parts.machine.reachability->setNetwork(!isNone, isNone ? PushClientServerReachabilityNoNetworkFoundType
                                                           : PushClientServerReachabilityCelluarNetworkType);
}

void becomeWifi(SimulatedParts& parts, const Fault& /*fault*/) {
    parts.machine.reachability->setNetwork(true, PushClientServerReachabilityWifiNetworkType);
}

constexpr auto kNetworkEffects = std::to_array<FaultEffect>({
    troubling<FakeNetworkTrouble::NoNames>(FaultKind::NetworkFindsNoNames),
    troubling<FakeNetworkTrouble::Refusing>(FaultKind::NetworkRefusesConnections),
    troubling<FakeNetworkTrouble::Unreachable>(FaultKind::NetworkIsUnreachable),
    troubling<FakeNetworkTrouble::Stalled>(FaultKind::NetworkStalls),
    troubling<FakeNetworkTrouble::Dead>(FaultKind::NetworkGoesDead),
    breaking<FakeDirection::ToClient>(FaultKind::NetworkBreaksToClients),
    breaking<FakeDirection::FromClient>(FaultKind::NetworkBreaksFromClients),
    {FaultKind::NetworkFlaps,
     [](SimulatedParts& parts, const Fault& fault) { parts.flapping.begin(milliseconds(fault.amount)); },
     [](SimulatedParts& parts, const Fault&) { parts.flapping.end(); }},
    {FaultKind::NetworkCutsReads,
     [](SimulatedParts& parts, const Fault& fault) {
         parts.machine.broker->setMostOctetsPerRead(static_cast<std::size_t>(fault.amount));
     },
     [](SimulatedParts& parts, const Fault&) { parts.machine.broker->setMostOctetsPerRead(kUsualRead); }},
    {FaultKind::NetworkBecomes, becomeLink, becomeWifi},
    {FaultKind::ClockJumps,
     [](SimulatedParts& parts, const Fault& fault) {
         auto& clock = *parts.machine.clock;
         clock.setDate(clock.now() + std::chrono::seconds(fault.amount));
     }},
});

}  // namespace

std::span<const FaultEffect> networkFaultEffects() {
    return kNetworkEffects;
}

}  // namespace xel
