#include "XelPushClient/Classes/Broker/ConnectionDiagnostics.h"

#include <utility>

namespace xel {

ConnectionDiagnostics::ConnectionDiagnostics(const std::shared_ptr<Diagnostics>& diagnostics,
                                             std::shared_ptr<const Clock> clock) {
    if (diagnostics != nullptr) {
        listener_ = std::make_shared<Listener>();
        listener_->diagnostics = diagnostics;
        listener_->clock = std::move(clock);
    }
}

std::chrono::milliseconds ConnectionDiagnostics::Listener::since(TimePoint start) const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(clock->steadyNow() - start);
}

void ConnectionDiagnostics::Listener::disconnectDidEnd(bool everythingWasSent) {
    wasEverythingSent = wasEverythingSent && everythingWasSent;
    if (--disconnectsUnderWay == 0) {
        diagnostics->record(DisconnectEnded{wasEverythingSent, since(disconnectStart)});
    }
}

void ConnectionDiagnostics::attemptWillStart(const std::string& host, std::uint16_t port, bool usingTLS) {
    if (!listener_) {
        return;
    }
    attempt_ = {attempt_.number + 1, host, port, usingTLS};
    phase_ = Phase::Attempting;
    phaseStart_ = listener_->clock->steadyNow();
    listener_->diagnostics->record(ConnectionAttemptStarted{attempt_});
}

void ConnectionDiagnostics::attemptDidEnd(ConnectionAttemptOutcome outcome,
                                          const std::optional<NSError>& error) {
    phase_ = outcome == ConnectionAttemptOutcome::Connected ? Phase::Connected : Phase::None;
    listener_->diagnostics->record(
        ConnectionAttemptEnded{attempt_, outcome, diagnosticError(error), listener_->since(phaseStart_)});
    // From here on it is the connection that takes time.
    phaseStart_ = listener_->clock->steadyNow();
}

void ConnectionDiagnostics::didConnect() {
    if (isListeningDuring(Phase::Attempting)) {
        attemptDidEnd(ConnectionAttemptOutcome::Connected, std::nullopt);
    }
}

void ConnectionDiagnostics::didFail(MQTTSessionEvent event, const std::optional<NSError>& error) {
    if (isListeningDuring(Phase::Attempting)) {
        attemptDidEnd(event == MQTTSessionEvent::ConnectionRefused ? ConnectionAttemptOutcome::Refused
                                                                   : ConnectionAttemptOutcome::Failed,
                      error);
    } else if (isListeningDuring(Phase::Connected)) {
        phase_ = Phase::None;
        listener_->diagnostics->record(
            ConnectionLost{attempt_, diagnosticError(error), listener_->since(phaseStart_)});
    }
}

MQTTSession::CloseEnded ConnectionDiagnostics::willDisconnect() {
    if (!listener_) {
        return nullptr;
    }
    if (phase_ == Phase::Attempting) {
        attemptDidEnd(ConnectionAttemptOutcome::ClosedByClient, std::nullopt);
    }
    phase_ = Phase::None;
    // Disconnects that overlap end with one record, so their time counts from the first.
    if (listener_->disconnectsUnderWay++ == 0) {
        listener_->disconnectStart = listener_->clock->steadyNow();
        listener_->wasEverythingSent = true;
    }
    return [weak = std::weak_ptr(listener_)](bool everythingWasSent) {
        if (const auto listener = weak.lock()) {
            listener->disconnectDidEnd(everythingWasSent);
        }
    };
}

}  // namespace xel
