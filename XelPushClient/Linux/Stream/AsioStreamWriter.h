#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Stream/AsioSocket.h"
#include "XelPushClient/Linux/Stream/StreamErrors.h"
#include "XelPushClient/Linux/Stream/TLSEngine.h"

namespace xel {

/// Who writes. Called inside a call of the writer, or in a pass of the loop; the writer's `failure` is set.
class AsioStreamWriterObserver {
public:
    virtual ~AsioStreamWriterObserver() = default;
    virtual void writingDidFail() = 0;
};

/// The writing side of a connected socket: what is written in one pass of the loop leaves at its end in one
/// `send`, encrypted once there is an engine; what the socket does not take waits until it does.
///
/// Owner: who writes, its observer; while the socket takes nothing the wait for it holds both. Thread: the
/// loop's.
class AsioStreamWriter final : public PassEndObserver, public std::enable_shared_from_this<AsioStreamWriter> {
public:
    AsioStreamWriter(std::weak_ptr<AsioLoopCore> core, std::shared_ptr<AsioSocket> socket, StreamPeer peer);

    void setObserver(std::weak_ptr<AsioStreamWriterObserver> observer) { observer_ = std::move(observer); }
    /// From now on what is written is encrypted. The engine outlives the writing.
    void encryptWith(std::shared_ptr<TLSEngine> engine) { engine_ = std::move(engine); }

    /// Nothing is taken after a failure.
    void write(std::string_view octets);
    /// Octets as they are, encrypted already: at the end of the pass, or at once.
    void writeRecords(std::string_view records);
    void writeRecordsNow(std::string_view records);

    /// Writes what is still to be written, the end of the stream by TLS, and ends the sending side of the
    /// connection.
    void endAfterWriting();

    /// Nothing leaves any more, and the observer hears nothing.
    void stop();

    /// Why nothing can be written any more.
    [[nodiscard]] const std::optional<NSError>& failure() const { return failure_; }
    /// Whether the network has taken all that was written.
    [[nodiscard]] bool hasSentEverything() const { return !failure_ && plain_.empty() && outgoing_.empty(); }

    /// Whether it sends at the end of this pass, or as soon as the socket takes something.
    [[nodiscard]] bool isAboutToSend() const { return isFlushPlanned_ || isWaiting_; }
    /// How often the socket has taken something.
    [[nodiscard]] std::size_t sends() const { return sends_; }

    void passDidEnd() noexcept override;

private:
    void borrow(std::string& buffer);
    void empty(std::string& buffer);
    void planFlush();
    void flush();
    [[nodiscard]] bool encryptPlain();
    void sendOutgoing();
    void waitUntilWritable();
    void fail(NSError loss);

    std::weak_ptr<AsioLoopCore> core_;
    std::shared_ptr<AsioSocket> socket_;
    StreamPeer peer_;
    std::shared_ptr<TLSEngine> engine_;
    std::weak_ptr<AsioStreamWriterObserver> observer_;

    std::string plain_;     // with TLS: written, not yet encrypted
    std::string outgoing_;  // for the network
    std::size_t sent_ = 0;  // of it
    std::size_t sends_ = 0;
    bool isFlushPlanned_ = false;
    bool isWaiting_ = false;
    enum class Phase { Writing, Ending, Stopped } phase_ = Phase::Writing;
    std::optional<NSError> failure_;
};

}  // namespace xel
