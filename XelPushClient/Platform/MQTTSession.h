#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Platform/TopicTable.h"

namespace xel {

enum class MQTTSessionStatus {
    Created = 0,
    Connecting = 1,
    Connected = 2,
    Disconnecting = 3,
    Closed = 4,
    Error = 5
};

enum class MQTTSessionEvent {
    Connected = 0,
    ConnectionRefused = 1,
    ConnectionClosed = 2,
    ConnectionError = 3,
    ProtocolError = 4,
    ConnectionClosedByBroker = 5
};

/// Domain of a session's errors. A CONNACK refusal carries the CONNACK return code (MQTT 3.1.1
/// section 3.2.2.3), except that "bad user name or password" (4) is reported as 5 too: both say that the
/// identity is refused, with a description that contains "not authorized".
inline constexpr std::string_view kMQTTErrorDomain = "MQTT";

struct MQTTSessionParameters {
    std::string clientId;
    std::string userName;
    std::string password;
    std::chrono::seconds keepAlive{180};
    bool cleanSession = false;
};

class MQTTSession;

/// What a session tells its owner. Every operation is called on the session's run loop, never from inside a
/// call of the owner, but for ConnectionClosed, which `close` reports before it returns. Each may call any
/// operation of the session, also drop it.
class MQTTSessionDelegate {
public:
    virtual ~MQTTSessionDelegate() = default;

    /// The error is there for ConnectionRefused, ConnectionError, ProtocolError and ConnectionClosedByBroker.
    virtual void handleEvent(MQTTSession& session, MQTTSessionEvent event,
                             const std::optional<NSError>& error) = 0;

    /// A turn begins: at most 24 publications follow, then one `sessionDidDeliver`.
    virtual void sessionWillDeliver(MQTTSession& session) = 0;

    /// One publication. The views are valid during the call only.
    virtual void newMessage(MQTTSession& session, std::string_view data, std::string_view topic, int qos,
                            bool retained, std::uint16_t mid) = 0;

    /// The turn's publications have been handled and everything posted meanwhile has run. The owner stores
    /// what must survive and calls `acknowledge`, now or later, exactly once; only then the turn's
    /// acknowledgements are written and the next turn may begin.
    virtual void sessionDidDeliver(MQTTSession& session, std::function<void()> acknowledge) = 0;

    virtual void subAckReceived(MQTTSession& session, std::uint16_t msgID,
                                std::span<const std::uint8_t> grantedQoss) = 0;
    virtual void unsubAckReceived(MQTTSession& session, std::uint16_t msgID) = 0;

    /// A topic that the broker had granted was refused when the session restored it.
    virtual void topicWasRefused(MQTTSession& session, std::string_view topic) = 0;
};

/// One MQTT 3.1.1 session of one client id, over any number of connections.
///
/// Between connections the session keeps its unacknowledged QoS 1 publications and the topics that the broker
/// granted in the home's session memory, and restores both. Thread: the run loop it was made with.
class MQTTSession {
public:
    virtual ~MQTTSession() = default;

    /// The delegate must outlive the session, or be cleared with null first.
    virtual void setDelegate(MQTTSessionDelegate* delegate) = 0;

    [[nodiscard]] virtual MQTTSessionStatus status() const = 0;

    /// Starts a connection attempt; the outcome arrives as an event. With TLS the certificate and the host
    /// name are verified and there is no falling back to a plain connection. Ignored while Connecting or
    /// Connected.
    virtual void connectToHost(std::string_view host, std::uint16_t port, bool usingSSL) = 0;

    /// Ends the connection in order (DISCONNECT is still written) and reports ConnectionClosed once, before
    /// it returns. Reports nothing when there was no connection and no attempt. Dropping an open session does
    /// the same.
    virtual void close() = 0;

    /// One SUBSCRIBE for the topic, or for all topics of the table in its order. Answers the packet
    /// identifier. Without a connection nothing is sent and the answer is 0.
    virtual std::uint16_t subscribeToTopic(std::string_view topic, int qos) = 0;
    virtual std::uint16_t subscribeToTopics(const TopicTable& topics) = 0;

    /// One UNSUBSCRIBE. Removes the topics from the session's memory, also without a connection (the answer
    /// is then 0).
    virtual std::uint16_t unsubscribeTopic(std::string_view topic) = 0;
    virtual std::uint16_t unsubscribeTopics(std::span<const std::string> topics) = 0;

    /// QoS 0. Dropped without a connection. False when the publication cannot be made (a topic that is empty,
    /// too long, not UTF-8 or holds a wildcard or NUL; a packet over the size limit).
    virtual bool publishDataAtMostOnce(std::string_view data, std::string_view topic, bool retain) = 0;

    /// QoS 1. Durable when it returns true, sent now or after the next connect, again after a loss, until the
    /// broker acknowledges it. False for a publication that cannot be made (as above), when the outbox is
    /// full (50,000 publications or 64 MiB), or when it could not be stored.
    virtual bool publishDataAtLeastOnce(std::string_view data, std::string_view topic, bool retain) = 0;
};

class NSRunLoop;
class SessionMemory;

class MQTTSessionFactory {
public:
    virtual ~MQTTSessionFactory() = default;

    /// The run loop and the memory outlive the session.
    [[nodiscard]] virtual std::shared_ptr<MQTTSession> makeSession(MQTTSessionParameters parameters,
                                                                   NSRunLoop& runLoop,
                                                                   SessionMemory& memory) = 0;
};

}  // namespace xel
