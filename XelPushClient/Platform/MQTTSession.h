#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Foundation/Result.h"
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

/// Codes in `kMQTTErrorDomain`. Up to 5 they are CONNACK's return codes (MQTT 3.1.1 section 3.2.2.3).
enum class MQTTErrorCode : std::int64_t {
    UnacceptableProtocolVersion = 1,
    IdentifierRejected = 2,
    ServerUnavailable = 3,
    NotAuthorized = 5,  ///< return codes 4 and 5, and an identity that no CONNECT may hold
    ConnectTimedOut = 101,
    PingTimedOut = 102,
    ProtocolViolation = 103,
    ClosedByBroker = 104,
    NameNotSendable = 105,       ///< a topic that brokers may end the connection on
    PublicationTooLarge = 106,   ///< over the session's limit on the size of a packet
    OutboxFull = 107,            ///< or out of packet identifiers
    PublicationNotStored = 108,  ///< the session's memory could not be written
    GivenUp = 109,               ///< the broker ended the connection on it, again and again
    NoMemory = 110,              ///< the connection was given up, for it could not go on
};

/// Who connects, and how (MQTT 3.1.1 section 3.1).
struct MQTTSessionParameters {
    std::string clientId;
    std::string userName;
    std::string password;
    std::chrono::seconds keepAlive{180};
    bool cleanSession = false;

    bool operator==(const MQTTSessionParameters&) const = default;
};

/// A publication that arrived. The views are valid only during the call.
struct MQTTPublication {
    std::string_view data;
    std::string_view topic;
    int qos = 0;
    bool retained = false;
    std::uint16_t mid = 0;  ///< the packet identifier; 0 at QoS 0
    /// The owner has had it already: the broker sends it again because an acknowledgement was lost.
    bool isRepeat = false;
};

/// A topic for which nothing was sent, and nothing will be, with the reason.
struct MQTTRefusedTopic {
    std::string topic;
    NSError error;
};

/// One SUBSCRIBE: its SUBACK carries the packet identifier, and a return code for each filter in this
/// order.
struct MQTTSubscribeBatch {
    std::uint16_t packetId = 0;
    std::vector<std::string> filters;
};

/// What became of a request to subscribe. Topics that are neither in a batch nor refused wait for a
/// connection, or for a packet identifier: ask again after the next connect.
struct MQTTSubscribeOutcome {
    std::vector<MQTTSubscribeBatch> batches;
    std::vector<MQTTRefusedTopic> refused;
    /// Earlier batches that will not be answered: they had not left yet, and a later one carries all their
    /// topics.
    std::vector<std::uint16_t> superseded;
};

/// What became of a request to unsubscribe. The identifier is 0 when nothing was sent.
struct MQTTUnsubscribeOutcome {
    std::uint16_t packetId = 0;
    std::vector<MQTTRefusedTopic> refused;
};

class MQTTSession;

/// Thrown by `newMessage` when there was no memory to hand the publication to anybody.
struct MQTTPublicationNotTaken : std::bad_alloc {};

/// What a session tells its owner, on the session's run loop. Nothing is told from inside one of the
/// owner's calls, except ConnectionClosed, which `close` reports before it returns. Every operation may
/// call back into the session, and even drop it.
class MQTTSessionDelegate {
public:
    virtual ~MQTTSessionDelegate() = default;

    /// The error is there for ConnectionRefused, ConnectionError, ProtocolError and
    /// ConnectionClosedByBroker, unless there was no memory for it.
    virtual void handleEvent(MQTTSession& session, MQTTSessionEvent event,
                             const std::optional<NSError>& error) = 0;

    /// A turn begins: at most 24 publications follow, then one `sessionDidDeliver`.
    virtual void sessionWillDeliver(MQTTSession& session) = 0;

    /// One that throws counts as delivered. `MQTTPublicationNotTaken` alone says that it was not: the session
    /// then ends the connection, and the broker sends the publication again on the next one.
    virtual void newMessage(MQTTSession& session, const MQTTPublication& publication) = 0;

    /// The turn's publications have been handled and everything posted meanwhile has run. The owner stores
    /// what must survive and calls `acknowledge`, now or later, exactly once; only then the turn's
    /// acknowledgements are written and the next turn may begin.
    virtual void sessionDidDeliver(MQTTSession& session, std::function<void()> acknowledge) = 0;

    virtual void subAckReceived(MQTTSession& session, std::uint16_t msgID,
                                std::span<const std::uint8_t> grantedQoss) = 0;
    virtual void unsubAckReceived(MQTTSession& session, std::uint16_t msgID) = 0;

    /// A topic that the broker had granted was refused when the session restored it.
    virtual void topicWasRefused(MQTTSession& session, std::string_view topic) = 0;

    /// The session has dropped what it had taken over, and says why: a publication, a topic to subscribe
    /// to or one to unsubscribe from that no broker may be sent, or on which the broker ended the
    /// connection again and again. A topic to subscribe to has left the session's memory.
    virtual void publicationDidFail(MQTTSession& session, std::string_view data, std::string_view topic,
                                    const NSError& error) = 0;
    virtual void subscriptionDidFail(MQTTSession& session, std::string_view topic, const NSError& error) = 0;
    virtual void unsubscriptionDidFail(MQTTSession& session, std::string_view topic,
                                       const NSError& error) = 0;
};

/// One MQTT 3.1.1 session of one client id, over any number of connections.
///
/// Between connections the session keeps its unacknowledged QoS 1 publications and the topics that the
/// broker granted in the home's session memory, and restores both. Thread: the run loop it was made with.
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

    /// Called once, later, on the session's run loop, also when the session was dropped meanwhile or there
    /// was nothing to close. True when everything written has left, DISCONNECT too.
    using CloseEnded = std::function<void(bool everythingWasSent)>;

    /// Ends the connection in order (DISCONNECT is still written) and reports ConnectionClosed once,
    /// before it returns. Reports nothing when there was no connection and no attempt. Dropping an open
    /// session does the same. `ended` may be empty.
    virtual void close(CloseEnded ended = nullptr) = 0;

    /// Subscribes to one topic with a SUBSCRIBE of its own, or to all topics of the table, in its order,
    /// with one SUBSCRIBE. Of tables that leave together only those are written which no later one
    /// contains. After the broker has ended two connections in a row, each topic gets a SUBSCRIBE of its
    /// own, in its turn.
    virtual MQTTSubscribeOutcome subscribeToTopic(std::string_view topic, int qos) = 0;
    virtual MQTTSubscribeOutcome subscribeToTopics(const TopicTable& topics) = 0;

    /// One UNSUBSCRIBE. The topics leave the session's memory and are remembered as to be unsubscribed
    /// until the broker has answered, across connections and restarts. Without a connection that is all: the
    /// owner asks again after the next connect, unless it has taken its delegate away meanwhile.
    virtual MQTTUnsubscribeOutcome unsubscribeTopic(std::string_view topic) = 0;
    virtual MQTTUnsubscribeOutcome unsubscribeTopics(std::span<const std::string> topics) = 0;

    /// Whether a publication at QoS 0 leaves. One that does not is dropped: without a connection, and while
    /// things are sent one at a time because the broker ends connections on something.
    [[nodiscard]] virtual bool sendsAtMostOnce() const { return status() == MQTTSessionStatus::Connected; }

    /// QoS 0. Dropped unless `sendsAtMostOnce`. An error when the publication cannot be made:
    /// `NameNotSendable` (a topic that is empty, too long, not UTF-8, or holds a wildcard or a character
    /// that brokers may refuse) or `PublicationTooLarge`.
    virtual Result<void> publishDataAtMostOnce(std::string_view data, std::string_view topic,
                                               bool retain) = 0;

    /// QoS 1. Durable when it returns without an error, sent now or after the next connect, again after a
    /// loss, until the broker acknowledges it or it is given up (`publicationDidFail`). An error for a
    /// publication that cannot be made (as above), `OutboxFull` (50,000 publications or 64 MiB), or
    /// `PublicationNotStored`.
    virtual Result<void> publishDataAtLeastOnce(std::string_view data, std::string_view topic,
                                                bool retain) = 0;
};

class NSRunLoop;
class SessionMemory;

/// Makes sessions. Thread: that of the run loop they are made for.
class MQTTSessionFactory {
public:
    virtual ~MQTTSessionFactory() = default;

    /// The run loop and the memory outlive the session. Never null: a client that gets none reports a
    /// failed registration that says so.
    [[nodiscard]] virtual std::shared_ptr<MQTTSession> makeSession(MQTTSessionParameters parameters,
                                                                   NSRunLoop& runLoop,
                                                                   SessionMemory& memory) = 0;
};

}  // namespace xel
