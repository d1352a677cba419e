#include "XelPushClient/Platform/Diagnostics.h"

#include <iterator>
#include <utility>

namespace xel {
namespace {

std::string_view nameOf(ConnectionAttemptOutcome outcome) {
    switch (outcome) {
        case ConnectionAttemptOutcome::Connected: return "connected";
        case ConnectionAttemptOutcome::Refused: return "refused";
        case ConnectionAttemptOutcome::Failed: return "failed";
        case ConnectionAttemptOutcome::ClosedByClient: return "closed-by-client";
    }
    return "";
}

std::string_view nameOf(PublicationKind kind) {
    switch (kind) {
        case PublicationKind::Message: return "message";
        case PublicationKind::Event: return "event";
        case PublicationKind::DeliveryReport: return "delivery-report";
    }
    return "";
}

std::string_view nameOf(PublicationDropReason reason) {
    switch (reason) {
        case PublicationDropReason::Duplicate: return "duplicate";
        case PublicationDropReason::Expired: return "expired";
        case PublicationDropReason::Reserved: return "reserved";
        case PublicationDropReason::Unreadable: return "unreadable";
        case PublicationDropReason::NotConnected: return "not-connected";
        case PublicationDropReason::GivenUp: return "given-up";
        case PublicationDropReason::OneAtATime: return "one-at-a-time";
    }
    return "";
}

std::string_view nameOf(PublicationDirection direction) {
    return direction == PublicationDirection::Inbound ? "inbound" : "outbound";
}

/// One overload for each kind of record: the place that a new kind is added to.
struct Fields {
    Dictionary fields;

    void add(const char* key, std::string_view value) { fields.set(key, value); }
    void add(const char* key, std::chrono::milliseconds time) {
        fields.set(key, static_cast<std::int64_t>(time.count()));
    }
    void add(const std::optional<DiagnosticError>& error) {
        if (error) {
            fields.set("errorDomain", error->domain);
            fields.set("errorCode", error->code);
            fields.set("errorDescription", error->description);
        }
    }
    void add(const ConnectionAttempt& attempt) {
        fields.set("attempt", static_cast<std::int64_t>(attempt.number));
        fields.set("host", attempt.host);
        fields.set("port", static_cast<std::int64_t>(attempt.port));
        fields.set("transport", attempt.usingTLS ? "tls" : "tcp");
    }

    void operator()(const ConnectionAttemptStarted& record) { add(record.attempt); }
    void operator()(const ConnectionAttemptEnded& record) {
        add(record.attempt);
        add("outcome", nameOf(record.outcome));
        add("durationMs", record.duration);
        add(record.error);
    }
    void operator()(const ConnectionLost& record) {
        add(record.attempt);
        add("durationMs", record.duration);
        add(record.error);
    }
    void operator()(const DisconnectEnded& record) {
        fields.set("everythingWasSent", record.everythingWasSent);
        add("durationMs", record.duration);
    }
    void operator()(const PublicationDropped& record) {
        add("direction", nameOf(record.direction));
        add("kind", nameOf(record.kind));
        add("reason", nameOf(record.reason));
        add("topic", record.topic);
        if (record.id) {
            add("id", *record.id);
        }
        if (record.expireTime) {
            fields.set("expireTimeMs", wholeMillisecondsSince1970(*record.expireTime));
        }
        add(record.error);
    }
    void operator()(const CrashReportEnded& record) {
        add("outcome", record.error ? "failed" : "kept");
        if (record.id) {
            add("id", *record.id);
        }
        add(record.error);
    }
};

struct Sentence {
    static std::string placeOf(const ConnectionAttempt& attempt) {
        return std::to_string(attempt.number) + " to " + attempt.host + ":" + std::to_string(attempt.port) +
               (attempt.usingTLS ? " by TLS" : " without TLS");
    }
    static std::string after(std::chrono::milliseconds time) {
        return " after " + std::to_string(time.count()) + " ms";
    }
    static std::string because(const std::optional<DiagnosticError>& error) {
        return error ? ": " + error->description : std::string();
    }

    std::string operator()(const ConnectionAttemptStarted& record) const {
        return "connection attempt " + placeOf(record.attempt) + " begins";
    }
    std::string operator()(const ConnectionAttemptEnded& record) const {
        return "connection attempt " + placeOf(record.attempt) + " " + std::string(nameOf(record.outcome)) +
               after(record.duration) + because(record.error);
    }
    std::string operator()(const ConnectionLost& record) const {
        return "connection " + placeOf(record.attempt) + " lost" + after(record.duration) +
               because(record.error);
    }
    std::string operator()(const DisconnectEnded& record) const {
        return "disconnect ended" + after(record.duration) +
               (record.everythingWasSent ? "" : ", not everything was sent");
    }
    std::string operator()(const PublicationDropped& record) const {
        return std::string(nameOf(record.direction)) + " " + std::string(nameOf(record.kind)) + " on " +
               record.topic + (record.id ? " with id " + *record.id : "") + " dropped, " +
               std::string(nameOf(record.reason)) + because(record.error);
    }
    std::string operator()(const CrashReportEnded& record) const {
        return record.error ? "crash report not kept" + because(record.error)
                            : "crash report kept as " + record.id.value_or("(no id)");
    }
};

}  // namespace

DiagnosticError diagnosticError(const NSError& error) {
    return {error.domain, error.code, error.localizedDescription()};
}

std::optional<DiagnosticError> diagnosticError(const std::optional<NSError>& error) {
    return error ? std::optional(diagnosticError(*error)) : std::nullopt;
}

std::string_view diagnosticType(const DiagnosticRecord& record) {
    static constexpr std::string_view kTypes[] = {
        "connection-attempt-started", "connection-attempt-ended", "connection-lost",
        "disconnect-ended",           "publication-dropped",      "crash-report-ended"};
    static_assert(std::size(kTypes) == std::variant_size_v<DiagnosticRecord>, "a name for each kind");
    return kTypes[record.index()];
}

Dictionary diagnosticFields(const DiagnosticRecord& record) {
    Fields visitor;
    visitor.fields.set("type", diagnosticType(record));
    std::visit(visitor, record);
    return std::move(visitor.fields);
}

bool isDiagnosticFailure(const DiagnosticRecord& record) {
    if (const auto* ended = std::get_if<ConnectionAttemptEnded>(&record)) {
        return ended->outcome == ConnectionAttemptOutcome::Refused ||
               ended->outcome == ConnectionAttemptOutcome::Failed;
    }
    if (const auto* disconnect = std::get_if<DisconnectEnded>(&record)) {
        return !disconnect->everythingWasSent;
    }
    if (const auto* crash = std::get_if<CrashReportEnded>(&record)) {
        return crash->error.has_value();
    }
    if (const auto* dropped = std::get_if<PublicationDropped>(&record)) {
        // What comes twice or too late is dropped as it should be; what was to be sent, or cannot be
        // read, is lost.
        return dropped->direction == PublicationDirection::Outbound ||
               dropped->reason == PublicationDropReason::Unreadable;
    }
    return std::holds_alternative<ConnectionLost>(record);
}

std::string describeDiagnostic(const DiagnosticRecord& record) {
    return std::visit(Sentence(), record);
}

}  // namespace xel
