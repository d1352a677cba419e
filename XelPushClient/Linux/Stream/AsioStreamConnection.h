#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Stream/AsioByteStream.h"
#include "XelPushClient/Linux/Stream/AsioStreamOpening.h"
#include "XelPushClient/Linux/Stream/AsioStreamWriter.h"

namespace xel {

/// The works of one stream: its opening, then reading beside its writer, then its end. Pending operations
/// hold it, so that it can linger after its stream was dropped.
///
/// A message costs one wait for events and one read; what is written in one pass leaves at its end in one
/// `send`. A stream that waits has no memory to read into: the loop lends it for each read.
///
/// Thread: the loop's.
class AsioStreamConnection final : public AsioStreamWriterObserver,
                                   public ReadableObserver,
                                   public PassEndObserver,
                                   public std::enable_shared_from_this<AsioStreamConnection> {
public:
    AsioStreamConnection(const std::shared_ptr<AsioLoopCore>& core, boost::asio::io_context& context,
                         std::shared_ptr<AsioStreamTLS> tls, ByteStreamObserver& observer,
                         const AsioByteStreamTimes& times);

    void open(std::string_view host, std::uint16_t port, bool usingTLS);
    void receive();
    void write(std::string_view octets);
    void closeAfterWriting(ByteStream::Ended ended);

    [[nodiscard]] std::string describeProgress() const;

    /// The stream was dropped: ends at once, unless it lingers.
    void drop();

    void writingDidFail() override;
    void mayBeReadable() override;
    void passDidEnd() noexcept override;

private:
    enum class Phase { New, Opening, Open, Lingering, Over };

    void becomeOpen(OpenedStream stream);

    // Reading
    void startRead();
    void readSoon();
    void read();
    void readEnded(const boost::system::error_code& error, std::string_view octets);
    void readWasRefused(const boost::system::error_code& error);
    void deliverDecrypted();
    void deliver(std::string_view octets);
    void continueReading();

    // Ending
    void finishByPeer();
    void fail(const NSError& error);
    void limitLingering();
    void end();

    std::weak_ptr<AsioLoopCore> core_;
    ByteStreamObserver* observer_;  // null once nothing more is to be told
    std::chrono::milliseconds lingerTime_;
    StreamPeer peer_;
    Phase phase_ = Phase::New;
    std::shared_ptr<AsioStreamOpening> opening_;
    OpenedStream stream_;
    std::shared_ptr<NSTimer> deadline_;

    bool isReceiveWanted_ = false;
    bool isReading_ = false;  // a read is waited for
    bool isDelivering_ = false;
    bool isMoreLeft_ = false;     // for the next read, without anything new arriving
    bool isBreakUnseen_ = false;  // a connection that has broken may not have told the last read
    std::size_t sendsAtLastRead_ = 0;
    ByteStream::Ended ended_;
};

}  // namespace xel
