#include <array>
#include <chrono>
#include <optional>

#include "XelPushClient/Testing/Simulation/FaultEffects.h"

namespace xel {
namespace {

using std::chrono::milliseconds;

/// Sets one of the troubles while the fault lasts.
template <bool SimulatedBackendTroubles::*trouble>
constexpr FaultEffect raising(FaultKind what) {
    return {what, [](SimulatedParts& parts, const Fault&) { parts.backend.troubles.*trouble = true; },
            [](SimulatedParts& parts, const Fault&) { parts.backend.troubles.*trouble = false; }};
}

constexpr auto kBackendEffects = std::to_array<FaultEffect>({
    raising<&SimulatedBackendTroubles::isRefusingConnections>(FaultKind::BackendRefusesConnections),
    raising<&SimulatedBackendTroubles::isSilent>(FaultKind::BackendFallsSilent),
    raising<&SimulatedBackendTroubles::isLosingAnswers>(FaultKind::BackendLosesAnswers),
    raising<&SimulatedBackendTroubles::isTalkingGarbage>(FaultKind::BackendAnswersGarbage),
    raising<&SimulatedBackendTroubles::isGivingNoId>(FaultKind::BackendGivesNoId),
    {FaultKind::BackendAnswers,
     [](SimulatedParts& parts, const Fault& fault) {
         parts.backend.troubles.status = static_cast<int>(fault.amount);
     },
     [](SimulatedParts& parts, const Fault&) { parts.backend.troubles.status.reset(); }},
    {FaultKind::BackendDelaysAnswers,
     [](SimulatedParts& parts, const Fault& fault) {
         parts.backend.troubles.delay = milliseconds(fault.amount);
     },
     [](SimulatedParts& parts, const Fault&) { parts.backend.troubles.delay = milliseconds::zero(); }},
    {FaultKind::BackendGivesId,
     [](SimulatedParts& parts, const Fault& fault) { parts.backend.troubles.wrongId = fault.on; },
     [](SimulatedParts& parts, const Fault&) { parts.backend.troubles.wrongId.reset(); }},
    {FaultKind::BackendForgetsInstallations,
     [](SimulatedParts& parts, const Fault&) { parts.backend.forgetInstallations(); }},
});

}  // namespace

std::span<const FaultEffect> backendFaultEffects() {
    return kBackendEffects;
}

}  // namespace xel
