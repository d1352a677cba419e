#include "XelPushClient/Classes/Broker/BrokerConnection.h"

#include <new>
#include <utility>

#include "XelPushClient/Classes/Broker/ConnectionDiagnostics.h"
#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {
namespace {

constexpr std::string_view kConnectToServer = "-[PushClientManager connectToServer]";
constexpr std::string_view kHandleEvent = "-[PushClientManager handleEvent:event:error:]";
constexpr std::string_view kDisconnectFromServer = "-[PushClientManager disconnectFromServer]";

// Also the code of a lost stream, so the words decide together with it.
constexpr std::int64_t kNotAuthorized = 5;

bool isRefusedIdentity(const std::optional<NSError>& error) {
    try {
        return error && error->code == kNotAuthorized &&
               error->localizedDescription().find("not authorized") != std::string::npos;
    } catch (const std::bad_alloc&) {
        return false;  // then it is refused once more
    }
}

}  // namespace

BrokerConnection::BrokerConnection(Surroundings surroundings)
    : surroundings_(surroundings),
      reconnects_({surroundings.life, surroundings.runLoop, surroundings.application, surroundings.log,
                   [this] { connectToServer(); }}) {}

bool BrokerConnection::isAttemptUnderWay() const {
    const auto state = surroundings_.state.value();
    return surroundings_.session.isBusy() || state == PushClientServerConnectedState ||
           state == PushClientServerConnectingState;
}

void BrokerConnection::connectToServer() {
    auto& session = surroundings_.session;
    auto& state = surroundings_.state;
    if (session.hasEnded()) {
        return;
    }
    if (isAttemptUnderWay()) {
        TVRLog(surroundings_.log, "[%@]: Ignore connecting to server %@", kConnectToServer,
               connectionStateString(state.value()));
        return;
    }
    if (!session.setClientId()) {
        TVRLog(surroundings_.log, "[%@]: ClientId cannot be initialized", kConnectToServer);
        return;
    }
    try {
        state.assignThen(PushClientServerConnectingState,
                         [this, generation = session.generation()] { beginAttempt(generation); });
    } catch (const std::bad_alloc&) {
        attemptFailedWithoutMemory();
        throw;
    }
}

// No attempt is under way then, and the next one must not be ignored as if there were.
void BrokerConnection::attemptFailedWithoutMemory() {
    if (surroundings_.state.value() == PushClientServerConnectingState && !surroundings_.session.isBusy()) {
        surroundings_.state.assignThen(PushClientServerDisconnectedErrorState,
                                       [this] { reconnects_.connectionFailed(); });
    }
}

void BrokerConnection::beginAttempt(std::uint64_t generation) {
    auto& session = surroundings_.session;
    auto& state = surroundings_.state;
    if (state.value() != PushClientServerConnectingState) {
        return;
    }
    if (generation != session.generation()) {
        // The host's callback ended the identity: no attempt follows, so none may seem to be under way.
        state.assign(PushClientServerDisconnectedState);
        return;
    }
    reconnects_.attemptBegins();
    const auto made = session.createSession();
    if (!made) {
        const NSError error = session.missingError();
        TVRLog(surroundings_.log, "[%@]: No Session, don't connectToServer %@", kConnectToServer, error);
        // The state stays Connecting, as hosts know it: further
        // calls are ignored until a session changes it.
        surroundings_.observer.brokerSessionIsMissing(error);
        return;
    }
    TVRLog(surroundings_.log, "[%@]: Connecting to server @%@", kConnectToServer,
           connectionStateString(state.value()));
    const auto& settings = surroundings_.settings;
    const auto address =
        brokerAddress(surroundings_.endpoints, settings.appId(), settings.usingSSLConnection());
    surroundings_.diagnostics.attemptWillStart(address.host, address.port, settings.usingSSLConnection());
    made->connectToHost(address.host, address.port, settings.usingSSLConnection());
}

void BrokerConnection::disconnectFromServer() {
    TVRLog(surroundings_.log, "[%@]: Disconnect Request... ", kDisconnectFromServer);
    auto ended = surroundings_.diagnostics.willDisconnect();
    if (const auto session = surroundings_.session.current()) {
        session->close(std::move(ended));
    } else if (ended) {
        // There is nothing to close, but whoever waits for the record of the end must not wait in vain.
        surroundings_.runLoop.post([ended = std::move(ended)] { ended(true); });
    }
    reconnects_.cancel();
}

void BrokerConnection::handleEvent(MQTTSessionEvent event, const std::optional<NSError>& error) {
    switch (event) {
        case MQTTSessionEvent::Connected: handleConnected(); return;
        case MQTTSessionEvent::ConnectionRefused:
        case MQTTSessionEvent::ConnectionError:
        case MQTTSessionEvent::ProtocolError:
        case MQTTSessionEvent::ConnectionClosedByBroker: handleError(event, error); return;
        case MQTTSessionEvent::ConnectionClosed: handleClosed(); return;
    }
}

void BrokerConnection::handleConnected() {
    surroundings_.diagnostics.didConnect();
    auto& session = surroundings_.session;
    surroundings_.state.assignThen(PushClientServerConnectedState, [&, generation = session.generation()] {
        if (generation == session.generation() && surroundings_.state.isConnected()) {
            surroundings_.observer.brokerDidConnect();
        }
    });
}

void BrokerConnection::handleError(MQTTSessionEvent event, const std::optional<NSError>& error) {
    doThenAlways([&] { tellFailure(event, error); }, [&] { becomeDisconnected(error); });
}

void BrokerConnection::tellFailure(MQTTSessionEvent event, const std::optional<NSError>& error) {
    surroundings_.diagnostics.didFail(event, error);
    TVRLog(surroundings_.log, "[%@]: ConnectionError %@", kHandleEvent, error);
    if (error) {
        // Before the state, so that a host which hears of that finds the failure.
        surroundings_.lastFailure.remember(*error);
    }
}

void BrokerConnection::becomeDisconnected(const std::optional<NSError>& error) {
    // A refused identity is never tried again: it would be refused every three seconds.
    const bool isRefused = isRefusedIdentity(error);
    auto& session = surroundings_.session;
    surroundings_.state.assignThen(PushClientServerDisconnectedErrorState,
                                   [&, isRefused, generation = session.generation()] {
                                       if (generation == session.generation() && !isRefused) {
                                           reconnects_.connectionFailed();
                                       }
                                   });
}

void BrokerConnection::handleClosed() {
    doThenAlways([this] { TVRLog(surroundings_.log, "[%@]: ConnectionClosed", kHandleEvent); },
                 [this] {
                     surroundings_.state.assignThen(PushClientServerDisconnectedState, [this] {
                         surroundings_.observer.brokerConnectionDidClose();
                     });
                 });
}

}  // namespace xel
