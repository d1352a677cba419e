#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/Result.h"

namespace xel {

/// What can go wrong at the service, on the way to it, and below its clients. `faultForms` says of each
/// what it means.
enum class FaultKind : std::uint8_t {
    BrokerStopsListening,
    BrokerHoldsConnections,
    BrokerFallsSilent,
    BrokerShowsBadCertificate,
    BrokerRefuses,
    BrokerWithholds,
    BrokerDelays,
    BrokerReverses,
    BrokerGrants,
    BrokerEndsOnEverything,
    BrokerEndsOn,
    BrokerLosesAcknowledgements,
    BrokerRepeatsPublications,
    BrokerKeepsInFlight,
    BrokerKeepsNoSessions,
    BrokerForgetsSessions,
    BrokerEndsConnections,
    BrokerResetsConnections,
    BrokerLosesConnections,
    BrokerSendsMalformed,
    BackendRefusesConnections,
    BackendFallsSilent,
    BackendLosesAnswers,
    BackendAnswersGarbage,
    BackendAnswers,
    BackendDelaysAnswers,
    BackendGivesNoId,
    BackendGivesId,
    BackendForgetsInstallations,
    NetworkFindsNoNames,
    NetworkRefusesConnections,
    NetworkIsUnreachable,
    NetworkFlaps,
    NetworkStalls,
    NetworkGoesDead,
    NetworkCutsReads,
    NetworkBreaksToClients,
    NetworkBreaksFromClients,
    NetworkBecomes,
    DiskFails,
    DiskIsFull,
    DiskHoldsTurns,
    DiskKillsBeforeWrite,
    DiskKillsAfterWrite,
    ClockJumps,
};

/// A fault as data, which can be written as a line, read again, generated and shortened.
///
/// The line is the form's, with what is given in the place of its capitals, and for one that lasts
/// perhaps how long: "broker refuses with 5", "broker grants news 128 for 4 s". A text with blanks
/// stands in double quotes.
struct Fault {
    FaultKind what = FaultKind::BrokerStopsListening;
    std::string on{};                       ///< the text that its line has: a topic, a packet, an id
    std::int64_t amount = 0;                ///< the number that its line has
    std::chrono::milliseconds duration{0};  ///< how long it lasts; 0: until it is healed

    friend bool operator==(const Fault&, const Fault&) = default;
};

/// Whether a fault goes on until it is healed, waits for what it strikes and is over then, or happens at
/// once.
enum class FaultSpan : std::uint8_t { Lasting, Waiting, Momentary };

/// How a kind of fault is written.
struct FaultForm {
    FaultKind what = FaultKind::BrokerStopsListening;
    FaultSpan span = FaultSpan::Lasting;
    std::string_view line;  ///< words in capitals stand for what is given; N is the number
    std::int64_t least = 0;
    std::int64_t most = 0;  ///< of N
    std::string_view meaning;

    /// Whether the line has a number, or a text.
    [[nodiscard]] bool hasAmount() const;
    [[nodiscard]] bool hasText() const;
    /// The only texts that it takes; none: any.
    [[nodiscard]] std::span<const std::string_view> choices() const;
};

/// Every kind of fault, in the order in which they are declared.
[[nodiscard]] std::span<const FaultForm> faultForms();
[[nodiscard]] const FaultForm& formOf(FaultKind what);

/// Reads a line. The error names the word that means nothing, and what could stand there.
[[nodiscard]] Result<Fault> parseFault(std::string_view line);

/// The line that `parseFault` reads.
[[nodiscard]] std::string describeFault(const Fault& fault);

}  // namespace xel
