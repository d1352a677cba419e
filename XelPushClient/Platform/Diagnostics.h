#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "XelPushClient/Foundation/Date.h"
#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Foundation/Value.h"

namespace xel {

/// Why something failed: an error without what else it carries.
struct DiagnosticError {
    std::string domain{};
    std::int64_t code = 0;
    std::string description{};

    friend bool operator==(const DiagnosticError&, const DiagnosticError&) = default;
};

[[nodiscard]] DiagnosticError diagnosticError(const NSError& error);
[[nodiscard]] std::optional<DiagnosticError> diagnosticError(const std::optional<NSError>& error);

/// Where a connection attempt goes. Attempts of one client are numbered from 1.
struct ConnectionAttempt {
    std::uint64_t number = 0;
    std::string host{};
    std::uint16_t port = 0;
    bool usingTLS = true;
};

/// An attempt to connect to the broker begins.
struct ConnectionAttemptStarted {
    ConnectionAttempt attempt{};
};

enum class ConnectionAttemptOutcome {
    Connected,       ///< the broker has taken the client
    Refused,         ///< the broker has answered with a refusal, which the error names
    Failed,          ///< there was no answer of a broker: the error says what was there
    ClosedByClient,  ///< the client has ended it before there was an answer
};

/// How it ended. Each attempt that starts ends once.
struct ConnectionAttemptEnded {
    ConnectionAttempt attempt{};
    ConnectionAttemptOutcome outcome = ConnectionAttemptOutcome::Connected;
    std::optional<DiagnosticError> error{};
    /// From its start, by the clock that only goes forward.
    std::chrono::milliseconds duration{0};
};

/// A connection that an attempt had brought is gone, and not by the client's wish.
struct ConnectionLost {
    ConnectionAttempt attempt{};
    std::optional<DiagnosticError> error{};
    /// How long it lasted.
    std::chrono::milliseconds duration{0};
};

/// A disconnect that was asked for has come to its end: nothing of it is on its way any more, and a process
/// may end. Comes also when there was no connection; disconnects that overlap end together, once.
struct DisconnectEnded {
    /// Whether all that the client had written, and its goodbye, have left.
    bool everythingWasSent = true;
    /// From when the first of them was asked for.
    std::chrono::milliseconds duration{0};
};

enum class PublicationKind { Message, Event, DeliveryReport };
enum class PublicationDirection { Inbound, Outbound };

enum class PublicationDropReason {
    Duplicate,     ///< its id was here before
    Expired,       ///< its time was over when it came
    Reserved,      ///< its text is one that the service keeps for itself
    Unreadable,    ///< its payload or its topic is not of the form of its kind
    NotConnected,  ///< it was to be sent at most once, and there was no connection
    GivenUp,       ///< the session has given it up: the error says why
    /// It was to be sent at most once, while the session waits for an answer to each thing that it sends
    /// because the broker ends connections on something.
    OneAtATime,
};

/// A publication that was dropped. Its contents are not told.
struct PublicationDropped {
    PublicationDirection direction = PublicationDirection::Inbound;
    PublicationKind kind = PublicationKind::Message;
    PublicationDropReason reason = PublicationDropReason::Duplicate;
    std::string topic{};
    /// Its own id, where it was read and had one.
    std::optional<std::string> id{};
    /// When it expired.
    std::optional<Date> expireTime{};
    std::optional<DiagnosticError> error{};
};

/// What became of a crash report.
struct CrashReportEnded {
    /// The backend's answer: the id under which it keeps the report.
    std::optional<std::string> id{};
    /// Why it did not take it; missing when it did.
    std::optional<DiagnosticError> error{};
};

using DiagnosticRecord = std::variant<ConnectionAttemptStarted, ConnectionAttemptEnded, ConnectionLost,
                                      DisconnectEnded, PublicationDropped, CrashReportEnded>;

/// Hears what a client does that none of its callbacks tells: for whoever runs it and wants to know why
/// nothing came. Set in a client's `Home`. While none is set no record is made.
///
/// Records hold topics, ids, addresses and reasons: no texts or data of messages, no secrets. Called on the
/// client's run loop, in the middle of its work, and never once the client was destroyed: it must not call
/// the client, never throws and never blocks for long. Kinds and fields may be added.
class Diagnostics {
public:
    virtual ~Diagnostics() = default;
    virtual void record(const DiagnosticRecord& record) = 0;
};

/// Makes the record when somebody is there to hear it, and only then. One for which there is no memory is not
/// made, and nothing else fails with it.
template <class Make>
void recordDiagnostics(const std::shared_ptr<Diagnostics>& diagnostics, const Make& make) {
    try {
        if (diagnostics != nullptr) {
            diagnostics->record(make());
        }
    } catch (const std::bad_alloc&) {
        return;
    }
}

/// A record's kind, such as "connection-attempt-ended".
[[nodiscard]] std::string_view diagnosticType(const DiagnosticRecord& record);

/// A record as named values, flat, for sinks that write them down: "type" first, times in milliseconds, what
/// is missing left out.
[[nodiscard]] Dictionary diagnosticFields(const DiagnosticRecord& record);

/// Whether it tells of something that went wrong.
[[nodiscard]] bool isDiagnosticFailure(const DiagnosticRecord& record);

/// A record as one sentence for people.
[[nodiscard]] std::string describeDiagnostic(const DiagnosticRecord& record);

}  // namespace xel
