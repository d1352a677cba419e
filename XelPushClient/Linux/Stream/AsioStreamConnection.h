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
/// A message costs one wait for events, a `recv` that brings it, and one that Asio makes early and that finds
/// nothing; what is written in one pass leaves at its end in one `send`.
///
/// Thread: the loop's.
class AsioStreamConnection final : public AsioStreamWriterObserver,
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

private:
    static constexpr std::size_t kReadSize = 64 * 1024;

    enum class Phase { New, Opening, Open, Lingering, Over };

    void becomeOpen(OpenedStream stream);

    // Reading
    void startRead();
    void readEnded(const boost::system::error_code& error, std::size_t count);
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

    std::unique_ptr<char[]> received_;
    std::unique_ptr<char[]> decrypted_;
    bool isReceiveWanted_ = false;
    bool isReading_ = false;
    bool isDelivering_ = false;
    ByteStream::Ended ended_;
};

}  // namespace xel
