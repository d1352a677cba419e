#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Classes/Broker/OutboxInheritance.h"
#include "XelPushClient/Classes/Core/ClientSettings.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Platform/MQTTSession.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

class ConnectionDiagnostics;

/// The session with the broker, of the client's identity: made once that is complete, kept across reconnects
/// so that its client id never changes, and let go when the identity ends.
///
/// Owner: the manager. Thread: the manager's run loop. Does not connect.
class BrokerSession {
public:
    struct Surroundings {
        ClientSettings& settings;
        MQTTSessionFactory& sessions;
        NSRunLoop& runLoop;
        const std::shared_ptr<SessionMemory>& sessionMemory;
        const LogOutput& log;
        /// Hears of every session.
        MQTTSessionDelegate& delegate;
        ConnectionDiagnostics& diagnostics;
    };

    explicit BrokerSession(Surroundings surroundings);
    BrokerSession(const BrokerSession&) = delete;
    BrokerSession& operator=(const BrokerSession&) = delete;
    ~BrokerSession();

    /// Null until one was made.
    [[nodiscard]] const std::shared_ptr<MQTTSession>& current() const { return session_; }
    [[nodiscard]] const std::optional<std::string>& brokerClientId() const { return brokerClientId_; }
    void forgetBrokerClientId() { brokerClientId_.reset(); }
    /// Changes whenever the session is dropped: who reports to the host compares it afterwards, and stops
    /// when the host's callback ended the session that it was reporting about.
    [[nodiscard]] std::uint64_t generation() const { return generation_; }
    /// Whether it is connected or about to be, or is just being let go.
    [[nodiscard]] bool isBusy() const;

    /// "appId/userId/deviceId", missing until all three are there. Stores nothing, despite its name.
    [[nodiscard]] std::optional<std::string> setClientId();
    /// The session, made now when there is none and the identity is complete.
    std::shared_ptr<MQTTSession> createSession();
    /// Why `createSession` made none.
    [[nodiscard]] NSError missingError();

    /// Closes the session and lets it go: the next one is made with the identity of then. Where that is the
    /// same, it is the same session, which knows what the broker may send again.
    void drop();
    /// Deletes what sessions remembered for the identity, which must still be known, under every installation
    /// id that it has had.
    void eraseMemory();

    /// The client has ended: closes the session without telling anybody, and makes no other.
    void end();
    [[nodiscard]] bool hasEnded() const { return hasEnded_; }

private:
    [[nodiscard]] bool hasIdentity() const;

    Surroundings surroundings_;
    InheritingSessionMemory memory_;
    std::shared_ptr<MQTTSession> session_;
    /// The one that was let go last, until another one is made.
    std::shared_ptr<MQTTSession> former_;
    MQTTSessionParameters parameters_;  // of either
    std::optional<std::string> brokerClientId_;
    std::uint64_t generation_ = 0;
    bool isDropping_ = false;
    bool hasEnded_ = false;
};

}  // namespace xel
