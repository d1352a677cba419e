// What faults there are, and how each is written.

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "XelPushClient/Foundation/StringUtilities.h"
#include "XelPushClient/Testing/Broker/MalformedPackets.h"
#include "XelPushClient/Testing/Simulation/Fault.h"

namespace xel {
namespace {

constexpr auto kLasting = FaultSpan::Lasting;
constexpr auto kWaiting = FaultSpan::Waiting;
constexpr auto kMomentary = FaultSpan::Momentary;
constexpr std::int64_t kMostOctets = 1'000'000'000;
constexpr std::int64_t kMostSeconds = 400LL * 24 * 60 * 60;
constexpr std::int64_t kMostWrites = 1'000'000;
constexpr std::int64_t kMostMilliseconds = 24LL * 60 * 60 * 1000;

constexpr auto kForms = std::to_array<FaultForm>({
    {FaultKind::BrokerStopsListening, kLasting, "broker stops listening", 0, 0,
     "new connections are refused; those that are open go on"},
    {FaultKind::BrokerHoldsConnections, kLasting, "broker holds connections", 0, 0,
     "new connections are neither accepted nor refused, and accepted at the end"},
    {FaultKind::BrokerFallsSilent, kLasting, "broker falls silent", 0, 0,
     "it hangs: takes connections and octets and answers nothing, and goes on with them at the end"},
    {FaultKind::BrokerShowsBadCertificate, kLasting, "broker shows REASON", 0, 0,
     "TLS fails over its certificate, for that reason"},
    {FaultKind::BrokerRefuses, kLasting, "broker refuses with N", 1, 5,
     "CONNECT is answered with that return code"},
    {FaultKind::BrokerWithholds, kLasting, "broker withholds ANSWER", 0, 0,
     "answers of that kind are held back, and sent at the end"},
    {FaultKind::BrokerDelays, kLasting, "broker delays ANSWER by N ms", 1, kMostMilliseconds,
     "answers of that kind come so much later"},
    {FaultKind::BrokerReverses, kLasting, "broker reverses ANSWER within N ms", 1, kMostMilliseconds,
     "answers of that kind are gathered for so long and sent with the last first"},
    {FaultKind::BrokerGrants, kLasting, "broker grants TOPIC N", 0, 128,
     "subscriptions to the topic are answered with that code; 128 refuses"},
    {FaultKind::BrokerEndsOnEverything, kLasting, "broker ends on everything", 0, 0,
     "each publication ends the connection, unanswered"},
    {FaultKind::BrokerEndsOn, kLasting, "broker ends on TOPIC", 0, 0,
     "a publication to the topic, its SUBSCRIBE or UNSUBSCRIBE ends the connection, unanswered"},
    {FaultKind::BrokerLosesAcknowledgements, kLasting, "broker loses acknowledgements", 0, 0,
     "PUBACKs from clients count for nothing"},
    {FaultKind::BrokerRepeatsPublications, kLasting, "broker repeats publications", 0, 0,
     "each publication at least once is sent twice, the second time as a duplicate"},
    {FaultKind::BrokerKeepsInFlight, kLasting, "broker keeps N in flight", 1, 65535,
     "so many publications are sent before some are acknowledged, 65535 without limit; otherwise 20"},
    {FaultKind::BrokerKeepsNoSessions, kLasting, "broker keeps no sessions", 0, 0,
     "a session ends with its connection, and none of an earlier one is found"},
    {FaultKind::BrokerForgetsSessions, kMomentary, "broker forgets sessions", 0, 0,
     "sessions and retained messages are lost, those of connected clients too"},
    {FaultKind::BrokerEndsConnections, kMomentary, "broker ends connections", 0, 0,
     "every connection is closed in order"},
    {FaultKind::BrokerResetsConnections, kMomentary, "broker resets connections", 0, 0,
     "every connection is reset, as by a broker that is killed"},
    {FaultKind::BrokerLosesConnections, kMomentary, "broker loses connections", 0, 0,
     "every connection is lost, as a network loses them"},
    {FaultKind::BrokerSendsMalformed, kMomentary, "broker sends malformed PACKET", 0, 0,
     "every connected client is sent octets that break the protocol"},
    {FaultKind::BackendRefusesConnections, kLasting, "backend refuses connections", 0, 0,
     "requests fail, as nobody listens"},
    {FaultKind::BackendFallsSilent, kLasting, "backend falls silent", 0, 0,
     "requests are swallowed and time out after a minute"},
    {FaultKind::BackendLosesAnswers, kLasting, "backend loses answers", 0, 0,
     "requests are done, and the connection ends before the answer"},
    {FaultKind::BackendAnswersGarbage, kLasting, "backend answers garbage", 0, 0,
     "requests are done, and the answer is no JSON"},
    {FaultKind::BackendAnswers, kLasting, "backend answers N", 200, 599,
     "answers have that status; requests are done only where it is below 300"},
    {FaultKind::BackendDelaysAnswers, kLasting, "backend delays answers by N ms", 1, kMostMilliseconds,
     "answers come so much later"},
    {FaultKind::BackendGivesNoId, kLasting, "backend gives no id", 0, 0,
     "an installation is saved, and the answer lacks its id"},
    {FaultKind::BackendGivesId, kLasting, "backend gives the id ID", 0, 0,
     "an installation is saved, and the answer has that id in the place of its own"},
    {FaultKind::BackendForgetsInstallations, kMomentary, "backend forgets installations", 0, 0,
     "every installation is lost: its update is answered with 404"},
    {FaultKind::NetworkFindsNoNames, kLasting, "network finds no names", 0, 0,
     "new connections fail: the name is not known"},
    {FaultKind::NetworkRefusesConnections, kLasting, "network refuses connections", 0, 0,
     "new connections are refused"},
    {FaultKind::NetworkIsUnreachable, kLasting, "network is unreachable", 0, 0,
     "every connection is lost and new ones fail; nobody is told by the system"},
    {FaultKind::NetworkFlaps, kLasting, "network flaps every N ms", 1, kMostMilliseconds,
     "the same comes and goes by turns of that length"},
    {FaultKind::NetworkStalls, kLasting, "network stalls", 0, 0,
     "octets and new connections wait, and go on at the end"},
    {FaultKind::NetworkGoesDead, kLasting, "network goes dead", 0, 0,
     "open connections carry nothing any more, and neither side is told; new ones wait for the end"},
    {FaultKind::NetworkCutsReads, kLasting, "network cuts reads to N", 1, 65536,
     "at most so many octets reach a client at once"},
    {FaultKind::NetworkBreaksToClients, kWaiting, "network breaks after N octets to clients", 1, kMostOctets,
     "the connection on which the last of them passes is lost behind it"},
    {FaultKind::NetworkBreaksFromClients, kWaiting, "network breaks after N octets from clients", 1,
     kMostOctets, "the connection on which the last of them passes is lost behind it"},
    {FaultKind::NetworkBecomes, kLasting, "network becomes LINK", 0, 0,
     "the system tells that it has that link, and Wi-Fi at the end; what is carried does not change"},
    {FaultKind::DiskFails, kLasting, "disk fails", 0, 0, "nothing can be committed to a store"},
    {FaultKind::DiskIsFull, kLasting, "disk is full", 0, 0,
     "nothing can be committed to a store, and no file written"},
    {FaultKind::DiskHoldsTurns, kLasting, "disk holds-turns", 0, 0,
     "the commits that close a turn wait, and are made at the end"},
    {FaultKind::DiskKillsBeforeWrite, kWaiting, "disk kills before write N", 1, kMostWrites,
     "the process dies when it is about to make that commit, counted from now"},
    {FaultKind::DiskKillsAfterWrite, kWaiting, "disk kills after write N", 1, kMostWrites,
     "the process dies when that commit is made, before it gets to know"},
    {FaultKind::ClockJumps, kMomentary, "clock jumps N s", -kMostSeconds, kMostSeconds,
     "the date changes by that, forward or back; what is timed does not"},
});

constexpr auto kAnswers =
    std::to_array<std::string_view>({"CONNACK", "PUBACK", "SUBACK", "UNSUBACK", "PINGRESP"});

constexpr auto kLinks = std::to_array<std::string_view>({"none", "cellular"});

/// The placeholder for a text, such as TOPIC; empty where there is none.
std::string_view textPlaceholder(const FaultForm& form) {
    for (const auto word : splitString(form.line, " ")) {
        if (word != "N" && lowerCase(word) != word) {
            return word;
        }
    }
    return {};
}

std::vector<std::string_view> namesOfMalformedPackets() {
    std::vector<std::string_view> names;
    for (const auto& packet : malformedPackets()) {
        names.push_back(packet.name);
    }
    return names;
}

}  // namespace

bool FaultForm::hasAmount() const {
    const auto words = splitString(line, " ");
    return std::find(words.begin(), words.end(), "N") != words.end();
}

bool FaultForm::hasText() const {
    return !textPlaceholder(*this).empty();
}

std::span<const std::string_view> FaultForm::choices() const {
    static const auto malformed = namesOfMalformedPackets();
    const auto placeholder = textPlaceholder(*this);
    if (placeholder == "ANSWER") {
        return kAnswers;
    }
    if (placeholder == "LINK") {
        return kLinks;
    }
    return placeholder == "PACKET" ? std::span<const std::string_view>(malformed)
                                   : std::span<const std::string_view>();
}

std::span<const FaultForm> faultForms() {
    return kForms;
}

const FaultForm& formOf(FaultKind what) {
    return kForms[static_cast<std::size_t>(what)];
}

}  // namespace xel
