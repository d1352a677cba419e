#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "XelPushClient/MQTTSDK/InputBuffer.h"
#include "XelPushClient/MQTTSDK/LostAcknowledgements.h"
#include "XelPushClient/MQTTSDK/MQTTConnectionObserver.h"
#include "XelPushClient/MQTTSDK/MQTTEngine.h"
#include "XelPushClient/MQTTSDK/TurnDelivery.h"
#include "XelPushClient/Platform/ByteStream.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// What connections of one session have in common.
struct MQTTConnectionContext {
    std::shared_ptr<SessionAnchor> anchor;
    std::shared_ptr<const MQTTSessionParameters> parameters;
    MQTTSessionOptions options;
    std::shared_ptr<PacketIds> packetIds;
    std::shared_ptr<LostAcknowledgements> acknowledgements;
    std::shared_ptr<const Clock> clock;
    NSRunLoop& runLoop;
};

/// One connection to the broker, from the attempt to its end: the engine, its stream, its timer and the
/// delivery of its turns.
///
/// The session drops it when it is over; it then finishes what it has on the stack and touches nothing any
/// more. Thread: the run loop.
class MQTTConnection final : public ByteStreamObserver, public std::enable_shared_from_this<MQTTConnection> {
public:
    explicit MQTTConnection(MQTTConnectionContext context);
    ~MQTTConnection() override;
    MQTTConnection(const MQTTConnection&) = delete;
    MQTTConnection& operator=(const MQTTConnection&) = delete;

    /// Starts the attempt. Its outcome comes from the loop.
    void open(ByteStreamFactory& streams, std::string_view host, std::uint16_t port, bool usingTLS);

    /// Ends an attempt that is not to be made, as a broker's refusal would.
    void refuseLater(NSError error);

    /// Writes what is still to be written and DISCONNECT, and ends the connection. Tells the session nothing;
    /// `ended`, unless it is empty, is called as the stream says.
    void closeInOrder(ByteStream::Ended ended);

    [[nodiscard]] bool isConnected() const { return phase_ != Phase::Over && engine_.isConnected(); }

    /// Whoever makes it append packets calls `flushSoon` then.
    [[nodiscard]] MQTTEngine& engine() { return engine_; }
    /// Whether what comes next, of what has been read already, is another SUBACK.
    [[nodiscard]] bool isSubscribeAnswerNext() { return engine_.isSubscribeAnswerNext(input_.unread()); }

    /// Writes at the end of this pass of the loop, so that what a pass appends leaves together.
    void flushAtEndOfPass();
    /// Likewise, but much is written at once.
    void flushSoon();

    /// Goes on with what is held, in a later pass.
    void resumeLater();

    /// The session runs the closing between these two. `completesNormally` is false while an exception is on
    /// its way.
    void willCloseTurn(std::uint64_t turn);
    void didCloseTurn(bool completesNormally);
    /// There was no delegate to run the closing: `resumeLater` asks for it again.
    void didSkipClosing(std::uint64_t turn);
    /// What has run out of memory half way cannot be gone on with: the connection ends, and what was neither
    /// acknowledged nor answered comes again on the next one. Throws nothing. Harmless for one that is over.
    void breakForWantOfMemory();
    /// The owner has stored what it keeps of the turn. Harmless for a turn that does not wait for it.
    void acknowledgeTurn(std::uint64_t turn);

    void streamDidGetItsTurn() override;
    void streamDidOpen() override;
    void streamDidReceive(std::string_view octets) override;
    void streamDidEndByPeer() override;
    void streamDidFail(const NSError& error) override;

private:
    /// Over: the session has dropped this connection.
    enum class Phase { Opening, Open, Over };

    /// Does the work, and breaks the connection when there is no memory for it.
    template <class Work>
    void orBreak(Work work);
    void takeInput();
    void takePackets();
    bool takePacket();
    bool deliver(std::string_view inputBefore);
    void finishStep(bool completesNormally);
    void endStep(bool completesNormally);
    void endTurn();
    void resume();
    void flush();
    void noteSilence(bool wasHeard);
    void end(MQTTSessionEvent event, const NSError& error);
    void detach();
    void stop();
    void tellBreak();
    void keepInput();
    void armTimer();
    void timerDidFire();
    void checkDeadlines();

    std::shared_ptr<SessionAnchor> anchor_;
    std::shared_ptr<const MQTTSessionParameters> parameters_;
    std::shared_ptr<const Clock> clock_;
    NSRunLoop& runLoop_;
    MQTTSessionOptions options_;
    MQTTEngine engine_;
    std::shared_ptr<LostAcknowledgements> acknowledgements_;
    InputBuffer input_;
    MQTTInboundPacket packet_;
    TurnDelivery delivery_;

    std::shared_ptr<NSTimer> timer_;
    ConnectionDeadlines::TimePoint timerDeadline_;

    Phase phase_ = Phase::Opening;
    bool isInStep_ = false;
    bool isFlushPosted_ = false;
    bool isResumePosted_ = false;
    bool isWithOwner_ = false;
    bool isBreakUntold_ = false;

    std::unique_ptr<ByteStream> stream_;  // last, so that its observer outlives it
};

}  // namespace xel
