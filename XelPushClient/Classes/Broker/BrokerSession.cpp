#include "XelPushClient/Classes/Broker/BrokerSession.h"

#include <chrono>
#include <string>
#include <utility>

#include "XelPushClient/Classes/Broker/ConnectionDiagnostics.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

BrokerSession::BrokerSession(Surroundings surroundings)
    : surroundings_(surroundings), memory_(surroundings.sessionMemory) {}

BrokerSession::~BrokerSession() {
    end();
}

void BrokerSession::end() {
    hasEnded_ = true;
    surroundings_.diagnostics.end();
    ++generation_;
    former_.reset();
    if (const auto session = std::exchange(session_, nullptr)) {
        // Before it is closed: an ended client hears nothing of it any more.
        session->setDelegate(nullptr);
        session->close();
    }
}

bool BrokerSession::isBusy() const {
    const auto status = session_ ? session_->status() : MQTTSessionStatus::Created;
    return isDropping_ || status == MQTTSessionStatus::Connecting || status == MQTTSessionStatus::Connected;
}

std::optional<std::string> BrokerSession::setClientId() {
    auto& settings = surroundings_.settings;
    if (isMissingOrBlank(settings.deviceId()) || isMissingOrBlank(settings.userId()) ||
        isMissingOrBlank(settings.appId())) {
        return std::nullopt;
    }
    return formatted("%@/%@/%@", settings.appId(), settings.userId(), settings.deviceId());
}

std::shared_ptr<MQTTSession> BrokerSession::createSession() {
    if (session_ || isDropping_ || hasEnded_) {
        return session_;
    }
    TVRLog(surroundings_.log, "Creating broker session");
    brokerClientId_ = setClientId();
    if (!hasIdentity()) {
        return nullptr;
    }
    MQTTSessionParameters parameters;
    parameters.clientId = *brokerClientId_;
    parameters.userName = *surroundings_.settings.username();
    parameters.password = *surroundings_.settings.password();
    parameters.keepAlive = std::chrono::seconds(180);
    // The broker keeps the session, and in it what is sent to a client that is away.
    parameters.cleanSession = false;
    if (!former_ || parameters != parameters_) {
        former_ = surroundings_.sessions.makeSession(parameters, surroundings_.runLoop, memory_);
        parameters_ = std::move(parameters);  // not before: without memory the one of before is still kept
    }
    session_ = std::exchange(former_, nullptr);
    if (session_) {
        session_->setDelegate(&surroundings_.delegate);
    }
    return session_;
}

bool BrokerSession::hasIdentity() const {
    return !isMissingOrBlank(brokerClientId_) && !isMissingOrBlank(surroundings_.settings.username()) &&
           !isMissingOrBlank(surroundings_.settings.password());
}

NSError BrokerSession::missingError() {
    auto& settings = surroundings_.settings;
    std::string text;
    if (isEmptyOrBlank(settings.userId())) {
        text += formatted("UserId is nil, userId = %@\n", settings.userId());
    }
    // The line about the user name stands when there is one, and shows the user id: hosts' diagnostics match
    // on it.
    if (settings.username()) {
        text += formatted("Username is nil, username = %@\n", settings.userId());
    }
    if (isEmptyOrBlank(settings.password())) {
        // A password reaches this line only when it is blank, so nothing secret is shown.
        text += formatted("password is nil, password = %@\n", settings.password());
    }
    if (hasIdentity()) {
        text = "Nothing of the identity is missing: the machine's session factory answered no session\n";
    }
    NSError error = makeError(kPushClientErrorDomain, -1, text);
    error.userInfo.set(NSLocalizedRecoverySuggestionErrorKey, "Please Register Again");
    return error;
}

void BrokerSession::drop() {
    const auto session = std::exchange(session_, nullptr);
    // Also when there is no session: whoever is reporting about this identity stops by it.
    ++generation_;
    if (!session) {
        return;
    }
    // A host that connects whenever it hears of a closing would do so with the identity that ends here.
    const auto dropping = flagWhile(isDropping_);
    const auto status = session->status();
    const bool isOpen = status == MQTTSessionStatus::Connecting || status == MQTTSessionStatus::Connected;
    const auto close = [&] {
        MQTTSession::CloseEnded ended;
        doThenAlways(
            [&] {
                if (isOpen) {
                    ended = surroundings_.diagnostics.willDisconnect();
                }
            },
            [&] { session->close(std::move(ended)); });
    };
    // After it was closed, which is still reported; also when the host throws in that report.
    doThenAlways(close, [&] {
        former_ = session;
        session->setDelegate(nullptr);
    });
}

void BrokerSession::eraseMemory() {
    former_.reset();
    // Without a session of this life there may still be the memory of one of an earlier life.
    if (const auto clientId = brokerClientId_ ? brokerClientId_ : setClientId()) {
        memory_.erase(*clientId);
    }
    auto& settings = surroundings_.settings;
    const std::string user = formatted("%@/%@/", settings.appId(), settings.userId());
    for (const std::string& clientId : rememberedClientIds(memory_, user)) {
        memory_.erase(clientId);
    }
}

}  // namespace xel
