#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Classes/Broker/BrokerObservers.h"
#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/ConnectionState.h"
#include "XelPushClient/Classes/Core/LastFailure.h"
#include "XelPushClient/Classes/Core/TVRLog.h"

namespace xel {

/// Keeps the one connection to the broker: makes the session from the identity, connects it, follows its
/// events through the connection states, and tries again after a loss.
///
/// Owner: the manager. Thread: the manager's run loop. Does not know topics or messages: it tells its
/// observers.
class BrokerConnection final : private MQTTSessionDelegate {
public:
    struct Observers {
        BrokerConnectionObserver& connection;
        BrokerTrafficObserver& traffic;
    };

    BrokerConnection(const ClientLife& life, ClientSettings& settings, LastFailure& lastFailure,
                     const Machine& machine, const Home& home, const LogOutput& log, Observers observers);
    BrokerConnection(const BrokerConnection&) = delete;
    BrokerConnection& operator=(const BrokerConnection&) = delete;
    ~BrokerConnection() override;

    /// The client has ended: closes the session without telling anybody, and makes no other.
    void end();

    /// The session, once one was made. Kept across reconnects, so that its identity never changes.
    [[nodiscard]] const std::shared_ptr<MQTTSession>& brokerSession() const { return brokerSession_; }
    [[nodiscard]] const std::optional<std::string>& brokerClientId() const { return brokerClientId_; }
    void forgetBrokerClientId() { brokerClientId_.reset(); }
    [[nodiscard]] PushClientServerConnectionState connectionState() const { return connectionState_; }
    [[nodiscard]] bool isConnected() const { return connectionState_ == PushClientServerConnectedState; }
    /// Every assignment is reported, also of an unchanged value.
    void setConnectionState(PushClientServerConnectionState state);

    /// "appId/userId/deviceId", missing until all three are there. Stores nothing, despite its name.
    [[nodiscard]] std::optional<std::string> setClientId();
    /// The session, made now when there is none and the identity is complete.
    std::shared_ptr<MQTTSession> createSession();
    /// Starts a connection attempt when none is under way.
    void connectToServer();
    /// Closes the session, which reports the closing before it returns, and cancels a pending reconnect.
    void disconnectFromServer();
    /// Closes the session and lets it go: the next connect makes a new one, with the identity of then.
    void dropSession();
    /// Deletes what sessions remembered for the identity, and forgets the client id.
    void eraseSessionMemory();

    /// The next error schedules no reconnect.
    void forceNextClose() { forceClose_ = true; }
    [[nodiscard]] bool forceClose() const { return forceClose_; }
    [[nodiscard]] double reconnectTime() const { return reconnectTime_; }
    [[nodiscard]] const std::shared_ptr<NSTimer>& reconnectTimer() const { return reconnectTimer_; }

    /// Changes whenever the session is dropped: who reports to the host compares it afterwards, and stops
    /// when the host's callback ended the session that it was reporting about.
    [[nodiscard]] std::uint64_t sessionGeneration() const { return sessionGeneration_; }

private:
    void handleEvent(MQTTSession& session, MQTTSessionEvent event,
                     const std::optional<NSError>& error) override;
    void sessionWillDeliver(MQTTSession& session) override;
    void newMessage(MQTTSession& session, const MQTTPublication& publication) override;
    void sessionDidDeliver(MQTTSession& session, std::function<void()> acknowledge) override;
    void subAckReceived(MQTTSession& session, std::uint16_t msgID,
                        std::span<const std::uint8_t> grantedQoss) override;
    void unsubAckReceived(MQTTSession& session, std::uint16_t msgID) override;
    void topicWasRefused(MQTTSession& session, std::string_view topic) override;
    void publicationDidFail(MQTTSession& session, std::string_view data, std::string_view topic,
                            const NSError& error) override;
    void subscriptionDidFail(MQTTSession& session, std::string_view topic, const NSError& error) override;
    void unsubscriptionDidFail(MQTTSession& session, std::string_view topic, const NSError& error) override;

    /// Assigns the state and does the rest, also when a host's callback throws: the connection must not stop
    /// half way. The exception goes on afterwards.
    template <class Rest>
    void assignStateThen(PushClientServerConnectionState state, Rest rest);
    void beginAttempt(std::uint64_t generation);
    void handleConnected();
    void handleError(const std::optional<NSError>& error);
    void handleClosed();
    void scheduleReconnect();
    void reconnectToServer();
    void reportMissingSession();
    [[nodiscard]] bool hasSessionIdentity() const;
    [[nodiscard]] bool isAttemptUnderWay() const;

    ClientSettings& settings_;
    LastFailure& lastFailure_;
    const Machine& machine_;
    const Home& home_;
    const LogOutput& log_;
    Observers observers_;
    std::shared_ptr<MQTTSession> brokerSession_;
    std::optional<std::string> brokerClientId_;
    /// Written on the loop; hosts that hear a broadcast ask on its thread.
    std::atomic<PushClientServerConnectionState> connectionState_ = PushClientServerDisconnectedState;
    std::shared_ptr<NSTimer> reconnectTimer_;
    double reconnectTime_ = 0.0;
    bool forceClose_ = false;
    bool isDroppingSession_ = false;
    bool hasEnded_ = false;
    std::uint64_t sessionGeneration_ = 0;
    ClientLife::WayInto<BrokerConnection> wayIn_;
};

}  // namespace xel
