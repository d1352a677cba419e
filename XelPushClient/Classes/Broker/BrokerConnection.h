#pragma once

#include <cstdint>
#include <optional>

#include "XelPushClient/Classes/Broker/BrokerConnectionObserver.h"
#include "XelPushClient/Classes/Broker/BrokerConnectionState.h"
#include "XelPushClient/Classes/Broker/BrokerSession.h"
#include "XelPushClient/Classes/Broker/Reconnects.h"
#include "XelPushClient/Classes/Core/LastFailure.h"
#include "XelPushClient/Platform/Endpoints.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

/// Keeps the one connection to the broker: connects the session, follows its events through the connection
/// states, and tries again after a loss.
///
/// Owner: the manager. Thread: the manager's run loop. Does not know topics or messages.
class BrokerConnection {
public:
    struct Surroundings {
        const ClientLife& life;
        ClientSettings& settings;
        LastFailure& lastFailure;
        const Endpoints& endpoints;
        NSRunLoop& runLoop;
        UIApplication& application;
        const LogOutput& log;
        BrokerSession& session;
        BrokerConnectionState& state;
        BrokerConnectionObserver& observer;
        ConnectionDiagnostics& diagnostics;
    };

    explicit BrokerConnection(Surroundings surroundings);

    /// Starts a connection attempt when none is under way.
    void connectToServer();
    /// Closes the session, which reports the closing before it returns, and cancels a pending reconnect.
    void disconnectFromServer();
    /// What has become of the session's connection.
    void handleEvent(MQTTSessionEvent event, const std::optional<NSError>& error);

    /// When it is tried again.
    [[nodiscard]] Reconnects& reconnects() { return reconnects_; }

private:
    void beginAttempt(std::uint64_t generation);
    void handleConnected();
    void attemptFailedWithoutMemory();
    void handleError(MQTTSessionEvent event, const std::optional<NSError>& error);
    void tellFailure(MQTTSessionEvent event, const std::optional<NSError>& error);
    void becomeDisconnected(const std::optional<NSError>& error);
    void handleClosed();
    [[nodiscard]] bool isAttemptUnderWay() const;

    Surroundings surroundings_;
    Reconnects reconnects_;
};

}  // namespace xel
