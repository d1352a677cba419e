#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "XelPushClient/Testing/Broker/MalformedPackets.h"
#include "XelPushClient/Testing/Simulation/FaultEffects.h"

namespace xel {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kUsuallyInFlight = FakeBrokerSending().mostInFlight;

FakeBrokerPacketType answerNamed(const std::string& name) {
    for (const auto type : {FakeBrokerPacketType::ConnAck, FakeBrokerPacketType::PubAck,
                            FakeBrokerPacketType::SubAck, FakeBrokerPacketType::UnsubAck}) {
        if (nameOfPacketType(type) == name) {
            return type;
        }
    }
    return FakeBrokerPacketType::PingResp;
}

/// Switches something of the broker's to `there` while the fault lasts.
template <void (FakeBroker::*set)(bool), bool there = true>
constexpr FaultEffect switching(FaultKind what) {
    return {what, [](SimulatedParts& parts, const Fault&) { ((*parts.machine.broker).*set)(there); },
            [](SimulatedParts& parts, const Fault&) { ((*parts.machine.broker).*set)(!there); }};
}

template <void (FakeBroker::*act)()>
constexpr FaultEffect happening(FaultKind what) {
    return {what, [](SimulatedParts& parts, const Fault&) { ((*parts.machine.broker).*act)(); }};
}

/// Changes when answers of a kind leave, by the fault's time.
template <void (FakeBroker::*set)(FakeBrokerPacketType, milliseconds)>
constexpr FaultEffect timing(FaultKind what) {
    return {what,
            [](SimulatedParts& parts, const Fault& fault) {
                ((*parts.machine.broker).*set)(answerNamed(fault.on), milliseconds(fault.amount));
            },
            [](SimulatedParts& parts, const Fault& fault) {
                ((*parts.machine.broker).*set)(answerNamed(fault.on), milliseconds::zero());
            }};
}

constexpr auto kBrokerEffects = std::to_array<FaultEffect>({
    switching<&FakeBroker::setListening, false>(FaultKind::BrokerStopsListening),
    switching<&FakeBroker::setSilent>(FaultKind::BrokerFallsSilent),
    switching<&FakeBroker::setEndingOnEveryPublication>(FaultKind::BrokerEndsOnEverything),
    switching<&FakeBroker::setLosingAcknowledgements>(FaultKind::BrokerLosesAcknowledgements),
    switching<&FakeBroker::setRepeating>(FaultKind::BrokerRepeatsPublications),
    switching<&FakeBroker::setKeepingSessions, false>(FaultKind::BrokerKeepsNoSessions),
    happening<&FakeBroker::forgetSessions>(FaultKind::BrokerForgetsSessions),
    happening<&FakeBroker::endConnections>(FaultKind::BrokerEndsConnections),
    happening<&FakeBroker::resetConnections>(FaultKind::BrokerResetsConnections),
    happening<&FakeBroker::dropConnections>(FaultKind::BrokerLosesConnections),
    timing<&FakeBroker::setDelay>(FaultKind::BrokerDelays),
    timing<&FakeBroker::setReversing>(FaultKind::BrokerReverses),
    {FaultKind::BrokerHoldsConnections,
     [](SimulatedParts& parts, const Fault&) { parts.machine.broker->setHoldingConnections(true); },
     [](SimulatedParts& parts, const Fault&) { parts.machine.broker->acceptWaitingConnections(); }},
    {FaultKind::BrokerShowsBadCertificate,
     [](SimulatedParts& parts, const Fault& fault) {
         parts.machine.broker->setConnectFailure({{ByteStreamErrorCode::CertificateRefused, fault.on}});
     },
     [](SimulatedParts& parts, const Fault&) { parts.machine.broker->setConnectFailure(std::nullopt); }},
    {FaultKind::BrokerRefuses,
     [](SimulatedParts& parts, const Fault& fault) {
         parts.machine.broker->setConnectReturnCode(static_cast<std::uint8_t>(fault.amount));
     },
     [](SimulatedParts& parts, const Fault&) { parts.machine.broker->setConnectReturnCode(0); }},
    {FaultKind::BrokerWithholds,
     [](SimulatedParts& parts, const Fault& fault) {
         parts.machine.broker->setWithholding(answerNamed(fault.on), true);
     },
     [](SimulatedParts& parts, const Fault& fault) {
         parts.machine.broker->releaseWithheld(answerNamed(fault.on));
     }},
    {FaultKind::BrokerGrants,
     [](SimulatedParts& parts, const Fault& fault) {
         parts.machine.broker->setGrantedCode(fault.on, static_cast<std::uint8_t>(fault.amount));
     },
     [](SimulatedParts& parts, const Fault& fault) { parts.machine.broker->clearGrantedCode(fault.on); }},
    {FaultKind::BrokerEndsOn,
     [](SimulatedParts& parts, const Fault& fault) { parts.machine.broker->setEndingOn(fault.on, true); },
     [](SimulatedParts& parts, const Fault& fault) { parts.machine.broker->setEndingOn(fault.on, false); }},
    {FaultKind::BrokerKeepsInFlight,
     [](SimulatedParts& parts, const Fault& fault) {
         parts.machine.broker->setMostInFlight(static_cast<std::size_t>(fault.amount));
     },
     [](SimulatedParts& parts, const Fault&) { parts.machine.broker->setMostInFlight(kUsuallyInFlight); }},
    {FaultKind::BrokerSendsMalformed,
     [](SimulatedParts& parts, const Fault& fault) {
         if (const auto* packet = malformedPacketNamed(fault.on)) {
             parts.machine.broker->sendOctets(packet->octets);
         }
     }},
});

}  // namespace

std::span<const FaultEffect> brokerFaultEffects() {
    return kBrokerEffects;
}

}  // namespace xel
