#pragma once

#include <cstdint>
#include <memory>

#include "XelPushClient/MQTTSDK/MQTTEngine.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

class MQTTConnection;

/// What a connection tells its session, from the run loop only. Any of these may close the connection or
/// destroy the session.
class MQTTConnectionObserver {
public:
    virtual ~MQTTConnectionObserver() = default;

    /// CONNECT is about to be written. The broker may begin a session on it whose CONNACK never arrives.
    virtual void connectionWillIntroduceItself() = 0;
    virtual void connectionDidOpen(bool sessionPresent) = 0;

    /// The connection is over; nothing but the closing of its last turn follows.
    virtual void connectionDidEnd(MQTTSessionEvent event, const NSError& error) = 0;

    virtual void connectionWillDeliver() = 0;
    virtual void connectionDidReceive(const MQTTInboundPacket& publication, bool isRepeat) = 0;

    /// The broker answered a publication, a SUBSCRIBE or an UNSUBSCRIBE.
    virtual void connectionDidReceiveAnswer(MQTTEngineEvent answer, const MQTTInboundPacket& packet) = 0;

    /// What one read brought, or as much of it as a turn takes, has been worked through.
    virtual void connectionDidFinishStep() = 0;

    /// Whether the broker owes an answer to a publication, a SUBSCRIBE or an UNSUBSCRIBE.
    [[nodiscard]] virtual bool connectionAwaitsAnswer() const = 0;

    /// The turn's publications were delivered; its closing may be posted.
    virtual void connectionDidEndTurn(std::weak_ptr<MQTTConnection> connection, std::uint64_t turn) = 0;
};

/// How whatever is posted, or still on the stack, finds the session: not at all once that is gone.
struct SessionAnchor {
    MQTTConnectionObserver* session = nullptr;
    /// Whether the session has a delegate. Without one no publication is taken: it waits for the next
    /// delegate.
    bool isListening = false;
};

}  // namespace xel
