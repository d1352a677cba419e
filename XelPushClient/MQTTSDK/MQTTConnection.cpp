#include "XelPushClient/MQTTSDK/MQTTConnection.h"

#include <new>
#include <string>
#include <utility>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"

namespace xel {
namespace {

// More than this is not kept for the end of the pass.
constexpr std::size_t kMostUnwritten = std::size_t{64} * 1024;

std::string inSeconds(std::chrono::steady_clock::duration time) {
    return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(time).count()) + " s";
}

std::string inBrackets(const std::string& text) {
    return text.empty() ? text : " (" + text + ")";
}

}  // namespace

MQTTConnection::MQTTConnection(MQTTConnectionContext context)
    : anchor_(std::move(context.anchor)),
      parameters_(std::move(context.parameters)),
      clock_(std::move(context.clock)),
      runLoop_(context.runLoop),
      options_(context.options),
      engine_(*parameters_, context.options, std::move(context.packetIds), clock_->steadyNow()),
      acknowledgements_(std::move(context.acknowledgements)),
      delivery_(anchor_, acknowledgements_) {}

MQTTConnection::~MQTTConnection() = default;

void MQTTConnection::open(ByteStreamFactory& streams, std::string_view host, std::uint16_t port,
                          bool usingTLS) {
    armTimer();
    stream_ = streams.makeStream(runLoop_, *this);
    stream_->open(host, port, usingTLS);
}

void MQTTConnection::refuseLater(NSError error) {
    runLoop_.post([weak = weak_from_this(), error = std::move(error)] {
        if (const auto self = weak.lock()) {
            self->end(MQTTSessionEvent::ConnectionRefused, error);
        }
    });
}

void MQTTConnection::closeInOrder(ByteStream::Ended ended) {
    if (phase_ == Phase::Open) {
        engine_.disconnect();
        stream_->write(engine_.output());
        stream_->closeAfterWriting(std::move(ended));
    } else if (ended) {
        runLoop_.post([ended = std::move(ended)] { ended(true); });
    }
    detach();
}

template <class Work>
void MQTTConnection::orBreak(Work work) {
    try {
        work();
    } catch (const std::bad_alloc&) {
        breakForWantOfMemory();
        throw;
    }
}

void MQTTConnection::streamDidGetItsTurn() {
    engine_.deadlines().didBeginToConnect(clock_->steadyNow());
}

void MQTTConnection::streamDidOpen() {
    const auto self = shared_from_this();
    if (phase_ == Phase::Over) {
        return;
    }
    phase_ = Phase::Open;
    orBreak([this] {
        anchor_->session->connectionWillIntroduceItself();
        engine_.start(*parameters_);
        flush();
        stream_->receive();
    });
}

void MQTTConnection::streamDidReceive(std::string_view octets) {
    const auto self = shared_from_this();
    orBreak([&] { input_.offer(octets); });
    takeInput();
    keepInput();
}

void MQTTConnection::streamDidEndByPeer() {
    const auto self = shared_from_this();
    orBreak([this] {
        end(MQTTSessionEvent::ConnectionClosedByBroker,
            makeMQTTError(MQTTErrorCode::ClosedByBroker, "the broker closed the connection"));
    });
}

void MQTTConnection::streamDidFail(const NSError& error) {
    const auto self = shared_from_this();
    end(MQTTSessionEvent::ConnectionError, error);
}

// From what was received to what is delivered, turn by turn

// One step: packets are taken until the read is used up, the turn is full, or the connection is over.
void MQTTConnection::takeInput() {
    if (phase_ != Phase::Open || isInStep_ || !delivery_.isIdle()) {
        return;
    }
    const auto inStep = flagWhile(isInStep_);
    doThenAlways([this] { takePackets(); }, [this](bool isWhole) { finishStep(isWhole); });
}

void MQTTConnection::takePackets() {
    try {
        while (phase_ != Phase::Over && delivery_.hasRoom() && takePacket()) {}
    } catch (const MQTTPublicationNotTaken&) {
        isWithOwner_ = false;
        breakForWantOfMemory();
        throw;
    } catch (const std::bad_alloc&) {
        // What the owner threw over a publication is its own affair, and the publication delivered.
        if (!std::exchange(isWithOwner_, false)) {
            breakForWantOfMemory();
        }
        throw;
    } catch (...) {
        isWithOwner_ = false;
        throw;
    }
}

bool MQTTConnection::takePacket() {
    const std::string_view inputBefore = input_.unread();
    const MQTTEngineEvent event = engine_.next(input_.unread(), packet_);
    switch (event) {
        case MQTTEngineEvent::Publication: return deliver(inputBefore);
        case MQTTEngineEvent::NeedMore: return false;
        case MQTTEngineEvent::Connected:
            engine_.didConnect(clock_->steadyNow());
            armTimer();
            acknowledgements_->connectionDidOpen(packet_.sessionPresent);
            anchor_->session->connectionDidOpen(packet_.sessionPresent);
            flush();
            return true;
        case MQTTEngineEvent::Refused:
            end(MQTTSessionEvent::ConnectionRefused, makeConnackError(packet_.returnCode));
            return false;
        case MQTTEngineEvent::Violation:
            // What came in order before it is delivered and acknowledged in order: the turn closes first.
            if (!delivery_.isDelivering()) {
                end(MQTTSessionEvent::ProtocolError,
                    makeMQTTError(MQTTErrorCode::ProtocolViolation,
                                  "the broker broke the protocol: " + std::string(engine_.fault())));
            }
            return false;
        default: anchor_->session->connectionDidReceiveAnswer(event, packet_); return true;
    }
}

bool MQTTConnection::deliver(std::string_view inputBefore) {
    // Until its turn has begun the publication is not taken: nobody may be listening, and whoever hears of
    // the turn may throw, or close.
    const std::string_view inputBehind = std::exchange(input_.unread(), inputBefore);
    if (!anchor_->isListening) {
        return false;
    }
    delivery_.begin();
    if (phase_ == Phase::Over || !anchor_->isListening) {
        return false;
    }
    input_.unread() = inputBehind;
    isWithOwner_ = true;
    delivery_.deliver(packet_);
    isWithOwner_ = false;
    return true;
}

void MQTTConnection::keepInput() {
    try {
        input_.keep();
    } catch (const std::bad_alloc&) {
        breakForWantOfMemory();  // octets are lost
    }
}

void MQTTConnection::finishStep(bool completesNormally) {
    keepInput();
    doThenAlways(
        [this] {
            if (phase_ != Phase::Over) {
                // Once for the whole read: the last answer tells of
                // everything before it, and the memory is written once.
                orBreak([this] {
                    acknowledgements_->didReceiveAnswerTo(engine_.answeredPlace());
                    anchor_->session->connectionDidFinishStep();
                    noteSilence(true);
                    flush();
                });
            }
        },
        [this, completesNormally](bool isFinished) { endStep(completesNormally && isFinished); });
}

void MQTTConnection::endStep(bool completesNormally) {
    if (delivery_.isDelivering()) {
        endTurn();
    } else if (phase_ == Phase::Over) {
        return;
    } else if (!completesNormally) {
        // An exception is on its way out of the run loop. What is left of the read waits for a later
        // pass, so that it is neither lost nor delivered while the stack unwinds.
        resumeLater();
    } else if (anchor_->isListening) {
        // Only here: while a turn is open or nobody listens nothing is read, and so the broker's window
        // holds back what the owner has not had.
        stream_->receive();
    }
}

// Also for a connection that ended meanwhile: the owner still has to store what it was given.
void MQTTConnection::endTurn() {
    delivery_.beginClosing();
    if (anchor_->session != nullptr) {
        orBreak([this] { anchor_->session->connectionDidEndTurn(weak_from_this(), delivery_.number()); });
    }
}

void MQTTConnection::willCloseTurn(std::uint64_t turn) {
    delivery_.willClose(turn);
}

void MQTTConnection::didCloseTurn(bool completesNormally) {
    delivery_.didClose();
    // The owner has yet to store the turn; its acknowledgement goes on with the input.
    if (!delivery_.isIdle()) {
        return;
    }
    if (completesNormally) {
        takeInput();
    } else {
        resumeLater();
    }
}

void MQTTConnection::didSkipClosing(std::uint64_t turn) {
    delivery_.skipClosing(turn);
}

void MQTTConnection::acknowledgeTurn(std::uint64_t turn) {
    if (!delivery_.end(turn) || phase_ == Phase::Over) {
        return;
    }
    orBreak([this] {
        // The place before they are appended: an answer to what stands behind it tells that they arrived.
        delivery_.rememberAcknowledgements(engine_.place());
        engine_.acknowledge(delivery_.packetIds());
        flush();
    });
    // Inside the closing it is `didCloseTurn` that goes on, once the owner has returned.
    if (!delivery_.isBeingClosed()) {
        resumeLater();
    }
}

void MQTTConnection::resumeLater() {
    if (isResumePosted_) {
        return;
    }
    orBreak([this] {
        runLoop_.post([weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->resume();
            }
        });
    });
    isResumePosted_ = true;
}

void MQTTConnection::resume() {
    isResumePosted_ = false;
    // There is a delegate again: the turn that nobody
    // stored is closed before anything else is delivered.
    if (delivery_.state() == TurnDelivery::State::ClosingSkipped) {
        endTurn();
    } else {
        takeInput();
    }
}

// Writing

// A stream that gathers by itself has it at once, so that the end of the pass is planned for once.
void MQTTConnection::flushSoon() {
    const bool isGatheredHere = isInStep_ || !stream_->gathersWrites();
    if (!isGatheredHere || engine_.output().size() >= kMostUnwritten) {
        flush();
    }
    flushAtEndOfPass();
}

void MQTTConnection::flushAtEndOfPass() {
    // A step flushes at its end.
    if (isInStep_ || engine_.output().empty() || isFlushPosted_) {
        return;
    }
    runLoop_.post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->isFlushPosted_ = false;
            self->flush();
        }
    });
    isFlushPosted_ = true;
}

void MQTTConnection::flush() {
    if (phase_ == Phase::Open && !engine_.output().empty()) {
        orBreak([this] {
            stream_->write(engine_.output());
            engine_.didWriteOutput(clock_->steadyNow());
            noteSilence(false);
        });
    }
}

// How long the broker has said nothing while it owes an answer. The clock is read for connections that wait
// for one only, so not in a flood of messages.
void MQTTConnection::noteSilence(bool wasHeard) {
    ConnectionDeadlines& deadlines = engine_.deadlines();
    if (!engine_.isConnected() || !anchor_->session->connectionAwaitsAnswer()) {
        deadlines.setSilentSince(std::nullopt);
    } else if (wasHeard || !deadlines.isListeningForAnswers()) {
        deadlines.setSilentSince(clock_->steadyNow());
        armTimer();
    }
}

void MQTTConnection::end(MQTTSessionEvent event, const NSError& error) {
    if (phase_ == Phase::Over) {
        return;
    }
    if (event == MQTTSessionEvent::ProtocolError) {
        // The acknowledgements of what came before may still be on their way out.
        stream_->closeAfterWriting(nullptr);
    }
    detach();
    anchor_->session->connectionDidEnd(event, error);
}

void MQTTConnection::detach() {
    stop();
    if (timer_) {
        timer_->invalidate();
        timer_.reset();
    }
}

void MQTTConnection::stop() {
    if (std::exchange(phase_, Phase::Over) != Phase::Over && !delivery_.isIdle()) {
        try {
            // The owner has had these too; the broker sends them again behind those whose acknowledgement
            // was lost.
            delivery_.rememberAcknowledgements(LostAcknowledgements::kNeverWritten);
        } catch (const std::bad_alloc&) {
            delivery_.forgetAcknowledgements();  // then their own ids alone tell that they come again
        }
    }
    // In a step the owner may still be looking at octets of the stream's; then it goes with this object,
    // which the session is dropping.
    if (!isInStep_) {
        stream_.reset();
    }
}

void MQTTConnection::breakForWantOfMemory() {
    if (phase_ == Phase::Over) {
        return;
    }
    // The timer stays: should there be no memory to tell the session either, it tries again.
    stop();
    isBreakUntold_ = true;
    tellBreak();
}

void MQTTConnection::tellBreak() {
    try {
        const NSError error = makeMQTTError(MQTTErrorCode::NoMemory,
                                            "there was no memory to go on with the connection to the broker");
        isBreakUntold_ = false;
        detach();
        anchor_->session->connectionDidEnd(MQTTSessionEvent::ConnectionError, error);
    } catch (const std::bad_alloc&) {
        return;
    }
}

// A timer that is due earlier than needed is left alone: when it fires it looks at what has become of the
// deadline. So a packet that moves the deadline costs no timer.
void MQTTConnection::armTimer() {
    const auto deadline = engine_.nextDeadline();
    if (!deadline || (timer_ && timerDeadline_ <= *deadline)) {
        return;
    }
    if (timer_) {
        timer_->invalidate();
    }
    timerDeadline_ = *deadline;
    // Rounded up, so that the deadline has passed when the timer looks.
    const auto delay = std::chrono::ceil<std::chrono::milliseconds>(*deadline - clock_->steadyNow());
    timer_ = runLoop_.scheduleTimer(delay, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->timerDidFire();
        }
    });
}

void MQTTConnection::timerDidFire() {
    timer_.reset();
    if (isBreakUntold_) {
        tellBreak();
    } else {
        orBreak([this] { checkDeadlines(); });
    }
}

void MQTTConnection::checkDeadlines() {
    if (stream_->isAwaitingTurn()) {
        engine_.deadlines().didBeginToConnect(clock_->steadyNow());
    }
    const bool readingIsHeldUp = !delivery_.isIdle() || !anchor_->isListening;
    switch (engine_.checkDeadlines(clock_->steadyNow(), readingIsHeldUp)) {
        case ConnectionDeadlines::Due::ConnectTimedOut:
            end(MQTTSessionEvent::ConnectionError,
                makeMQTTError(MQTTErrorCode::ConnectTimedOut, "no connection to the broker within " +
                                                                  inSeconds(options_.connectDeadline) +
                                                                  inBrackets(stream_->describeProgress())));
            return;
        case ConnectionDeadlines::Due::PingTimedOut:
            end(MQTTSessionEvent::ConnectionError,
                makeMQTTError(MQTTErrorCode::PingTimedOut,
                              "the broker did not answer a ping within " + inSeconds(engine_.longestPing())));
            return;
        default: break;
    }
    flush();
    armTimer();
}

}  // namespace xel
