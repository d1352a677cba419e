#include "XelPushClient/Classes/Broker/BrokerConnection.h"

#include <chrono>
#include <utility>

#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Foundation/FlagWhile.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

constexpr std::string_view kConnectToServer = "-[PushClientManager connectToServer]";
constexpr std::string_view kHandleEvent = "-[PushClientManager handleEvent:event:error:]";
constexpr std::string_view kReconnectToServer = "-[PushClientManager reconnectToServer]";
constexpr std::string_view kDisconnectFromServer = "-[PushClientManager disconnectFromServer]";

constexpr double kFirstReconnectTime = 3.0;
constexpr double kLongestDoubledReconnectTime = 64.0;
constexpr std::int64_t kNotAuthorized = 5;

bool isRefusedIdentity(const std::optional<NSError>& error) {
    return error && error->code == kNotAuthorized &&
           error->localizedDescription().find("not authorized") != std::string::npos;
}

}  // namespace

BrokerConnection::BrokerConnection(const ClientLife& life, ClientSettings& settings, LastFailure& lastFailure,
                                   const Machine& machine, const Home& home, const LogOutput& log,
                                   Observers observers)
    : settings_(settings),
      lastFailure_(lastFailure),
      machine_(machine),
      home_(home),
      log_(log),
      observers_(observers),
      wayIn_(life.wayInto(*this)) {}

BrokerConnection::~BrokerConnection() {
    end();
}

void BrokerConnection::end() {
    hasEnded_ = true;
    ++sessionGeneration_;
    if (const auto session = std::exchange(brokerSession_, nullptr)) {
        session->setDelegate(nullptr);
        session->close();
    }
    if (reconnectTimer_) {
        std::exchange(reconnectTimer_, nullptr)->invalidate();
    }
}

void BrokerConnection::setConnectionState(PushClientServerConnectionState state) {
    connectionState_ = state;
    observers_.connection.connectionStateWasAssigned();
}

template <class Rest>
void BrokerConnection::assignStateThen(PushClientServerConnectionState state, Rest rest) {
    try {
        setConnectionState(state);
    } catch (...) {
        rest();
        throw;
    }
    rest();
}

std::optional<std::string> BrokerConnection::setClientId() {
    if (isMissingOrBlank(settings_.deviceId()) || isMissingOrBlank(settings_.userId()) ||
        isMissingOrBlank(settings_.appId())) {
        return std::nullopt;
    }
    return formatted("%@/%@/%@", settings_.appId(), settings_.userId(), settings_.deviceId());
}

std::shared_ptr<MQTTSession> BrokerConnection::createSession() {
    if (brokerSession_ || isDroppingSession_ || hasEnded_) {
        return brokerSession_;
    }
    TVRLog(log_, "Creating broker session");
    brokerClientId_ = setClientId();
    if (!hasSessionIdentity()) {
        return nullptr;
    }
    MQTTSessionParameters parameters;
    parameters.clientId = *brokerClientId_;
    parameters.userName = *settings_.username();
    parameters.password = *settings_.password();
    parameters.keepAlive = std::chrono::seconds(180);
    parameters.cleanSession = false;
    brokerSession_ =
        machine_.sessions->makeSession(std::move(parameters), *machine_.runLoop, *home_.sessionMemory);
    if (brokerSession_) {
        brokerSession_->setDelegate(this);
    }
    return brokerSession_;
}

bool BrokerConnection::hasSessionIdentity() const {
    return !isMissingOrBlank(brokerClientId_) && !isMissingOrBlank(settings_.username()) &&
           !isMissingOrBlank(settings_.password());
}

bool BrokerConnection::isAttemptUnderWay() const {
    const auto status = brokerSession_ ? brokerSession_->status() : MQTTSessionStatus::Created;
    return isDroppingSession_ || status == MQTTSessionStatus::Connecting ||
           status == MQTTSessionStatus::Connected || connectionState_ == PushClientServerConnectedState ||
           connectionState_ == PushClientServerConnectingState;
}

void BrokerConnection::connectToServer() {
    if (hasEnded_) {
        return;
    }
    if (isAttemptUnderWay()) {
        TVRLog(log_, "[%@]: Ignore connecting to server %@", kConnectToServer,
               connectionStateString(connectionState_));
        return;
    }
    if (!setClientId()) {
        TVRLog(log_, "[%@]: ClientId cannot be initialized", kConnectToServer);
        return;
    }
    assignStateThen(PushClientServerConnectingState,
                    [this, generation = sessionGeneration_] { beginAttempt(generation); });
}

void BrokerConnection::beginAttempt(std::uint64_t generation) {
    if (connectionState_ != PushClientServerConnectingState) {
        return;
    }
    if (generation != sessionGeneration_) {
        // The host's callback ended the identity: no attempt follows, so none may seem to be under way.
        setConnectionState(PushClientServerDisconnectedState);
        return;
    }
    reconnectTime_ = kFirstReconnectTime;
    if (!createSession()) {
        reportMissingSession();
        return;
    }
    TVRLog(log_, "[%@]: Connecting to server @%@", kConnectToServer, connectionStateString(connectionState_));
    const auto address = brokerAddress(machine_.endpoints, settings_.appId(), settings_.usingSSLConnection());
    brokerSession_->connectToHost(address.host, address.port, settings_.usingSSLConnection());
}

void BrokerConnection::reportMissingSession() {
    std::string text;
    if (isEmptyOrBlank(settings_.userId())) {
        text += formatted("UserId is nil, userId = %@\n", settings_.userId());
    }
    // The line about the user name stands when there is one, and shows the user id: hosts' diagnostics match
    // on it.
    if (settings_.username()) {
        text += formatted("Username is nil, username = %@\n", settings_.userId());
    }
    if (isEmptyOrBlank(settings_.password())) {
        // A password reaches this line only when it is blank, so nothing secret is shown.
        text += formatted("password is nil, password = %@\n", settings_.password());
    }
    if (hasSessionIdentity()) {
        text = "Nothing of the identity is missing: the machine's session factory answered no session\n";
    }
    NSError error = makeError(kPushClientErrorDomain, -1, text);
    error.userInfo.set(std::string(NSLocalizedRecoverySuggestionErrorKey), "Please Register Again");
    TVRLog(log_, "[%@]: No Session, don't connectToServer %@", kConnectToServer, error);
    observers_.connection.brokerSessionIsMissing(error);
}

void BrokerConnection::disconnectFromServer() {
    TVRLog(log_, "[%@]: Disconnect Request... ", kDisconnectFromServer);
    if (const auto session = brokerSession_) {
        session->close();
    }
    if (reconnectTimer_) {
        std::exchange(reconnectTimer_, nullptr)->invalidate();
    }
}

void BrokerConnection::dropSession() {
    const auto session = std::exchange(brokerSession_, nullptr);
    ++sessionGeneration_;
    if (!session) {
        return;
    }
    // A host that connects whenever it hears of a closing would do so with the identity that ends here.
    const FlagWhile dropping(isDroppingSession_);
    session->close();
    session->setDelegate(nullptr);
}

void BrokerConnection::eraseSessionMemory() {
    if (const auto clientId = brokerClientId_ ? brokerClientId_ : setClientId()) {
        home_.sessionMemory->erase(*clientId);
    }
    forgetBrokerClientId();
}

void BrokerConnection::handleEvent(MQTTSession& /*session*/, MQTTSessionEvent event,
                                   const std::optional<NSError>& error) {
    const auto held = wayIn_.hold();
    switch (event) {
        case MQTTSessionEvent::Connected: handleConnected(); return;
        case MQTTSessionEvent::ConnectionRefused:
        case MQTTSessionEvent::ConnectionError:
        case MQTTSessionEvent::ProtocolError:
        case MQTTSessionEvent::ConnectionClosedByBroker: handleError(error); return;
        case MQTTSessionEvent::ConnectionClosed: handleClosed(); return;
    }
}

void BrokerConnection::handleConnected() {
    assignStateThen(PushClientServerConnectedState, [this, generation = sessionGeneration_] {
        if (generation == sessionGeneration_ && isConnected()) {
            observers_.connection.brokerDidConnect();
        }
    });
}

void BrokerConnection::handleError(const std::optional<NSError>& error) {
    TVRLog(log_, "[%@]: ConnectionError %@", kHandleEvent, error);
    if (error) {
        lastFailure_.remember(*error);
    }
    const bool isRefused = isRefusedIdentity(error);
    assignStateThen(PushClientServerDisconnectedErrorState,
                    [this, isRefused, generation = sessionGeneration_] {
                        if (generation != sessionGeneration_ || isRefused) {
                            return;
                        }
                        if (!std::exchange(forceClose_, false)) {
                            scheduleReconnect();
                        }
                    });
}

void BrokerConnection::handleClosed() {
    TVRLog(log_, "[%@]: ConnectionClosed", kHandleEvent);
    assignStateThen(PushClientServerDisconnectedState,
                    [this] { observers_.connection.brokerConnectionDidClose(); });
}

void BrokerConnection::scheduleReconnect() {
    const auto delay =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(reconnectTime_));
    reconnectTimer_ = machine_.runLoop->scheduleTimer(delay, [wayIn = wayIn_] {
        if (const auto self = wayIn.hold()) {
            self->reconnectToServer();
        }
    });
}

void BrokerConnection::reconnectToServer() {
    if (machine_.application->applicationState() != UIApplicationState::Active) {
        TVRLog(log_, "[%@]: Ignore Reconnecting, we are not active!", kReconnectToServer);
        return;
    }
    TVRLog(log_, "[%@]: Reconnecting... ", kReconnectToServer);
    reconnectTimer_.reset();
    if (reconnectTime_ < kLongestDoubledReconnectTime) {
        reconnectTime_ *= 2;
    }
    connectToServer();
}

void BrokerConnection::sessionWillDeliver(MQTTSession& /*session*/) {
    const auto held = wayIn_.hold();
    observers_.traffic.turnWillBegin();
}

void BrokerConnection::newMessage(MQTTSession& /*session*/, const MQTTPublication& publication) {
    const auto held = wayIn_.hold();
    observers_.traffic.publicationArrived(publication);
}

void BrokerConnection::sessionDidDeliver(MQTTSession& /*session*/, std::function<void()> acknowledge) {
    const auto held = wayIn_.hold();
    observers_.traffic.turnWillClose(std::move(acknowledge));
}

void BrokerConnection::subAckReceived(MQTTSession& /*session*/, std::uint16_t msgID,
                                      std::span<const std::uint8_t> grantedQoss) {
    const auto held = wayIn_.hold();
    observers_.traffic.subscriptionWasAnswered(msgID, grantedQoss);
}

void BrokerConnection::unsubAckReceived(MQTTSession& /*session*/, std::uint16_t msgID) {
    const auto held = wayIn_.hold();
    observers_.traffic.unsubscriptionWasAnswered(msgID);
}

void BrokerConnection::topicWasRefused(MQTTSession& /*session*/, std::string_view topic) {
    const auto held = wayIn_.hold();
    observers_.traffic.restoredTopicWasRefused(topic);
}

void BrokerConnection::publicationDidFail(MQTTSession& /*session*/, std::string_view data,
                                          std::string_view topic, const NSError& error) {
    const auto held = wayIn_.hold();
    observers_.traffic.publicationFailed(data, topic, error);
}

void BrokerConnection::subscriptionDidFail(MQTTSession& /*session*/, std::string_view topic,
                                           const NSError& error) {
    const auto held = wayIn_.hold();
    observers_.traffic.subscriptionFailed(topic, error);
}

void BrokerConnection::unsubscriptionDidFail(MQTTSession& /*session*/, std::string_view topic,
                                             const NSError& error) {
    const auto held = wayIn_.hold();
    observers_.traffic.unsubscriptionFailed(topic, error);
}

}  // namespace xel
