#include <array>
#include <cstddef>

#include "XelPushClient/Testing/Simulation/FaultEffects.h"

namespace xel {
namespace {

template <FakeKillPoint point>
constexpr FaultEffect killing(FaultKind what) {
    return {
        what,
        [](SimulatedParts& parts, const Fault& fault) {
            parts.machine.disk->killAt(point, static_cast<std::size_t>(fault.amount));
        },
        [](SimulatedParts& parts, const Fault&) { parts.machine.disk->forgetKillPoint(); },
        [](const SimulatedParts& parts, const Fault&) { return parts.machine.disk->killPoint() == point; }};
}

constexpr auto kDiskEffects = std::to_array<FaultEffect>({
    {FaultKind::DiskFails,
     [](SimulatedParts& parts, const Fault&) { parts.machine.disk->setFailingCommits(true); },
     [](SimulatedParts& parts, const Fault&) { parts.machine.disk->setFailingCommits(false); }},
    {FaultKind::DiskIsFull,
     [](SimulatedParts& parts, const Fault&) {
         parts.machine.disk->setFull(true);
         parts.machine.files->setFailing(true);
     },
     [](SimulatedParts& parts, const Fault&) {
         parts.machine.disk->setFull(false);
         parts.machine.files->setFailing(false);
     }},
    {FaultKind::DiskHoldsTurns,
     [](SimulatedParts& parts, const Fault&) { parts.machine.disk->setHoldingTurnCommits(true); },
     [](SimulatedParts& parts, const Fault&) {
         parts.machine.disk->setHoldingTurnCommits(false);
         parts.machine.disk->answerHeldTurnCommits();
     }},
    killing<FakeKillPoint::BeforeWrite>(FaultKind::DiskKillsBeforeWrite),
    killing<FakeKillPoint::AfterWrite>(FaultKind::DiskKillsAfterWrite),
});

}  // namespace

std::span<const FaultEffect> diskFaultEffects() {
    return kDiskEffects;
}

}  // namespace xel
