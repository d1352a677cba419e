#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Linux/Loop/AsioLoopCore.h"
#include "XelPushClient/Linux/Stream/AsioByteStream.h"
#include "XelPushClient/Linux/Stream/AsioConnector.h"
#include "XelPushClient/Linux/Stream/AsioSocket.h"
#include "XelPushClient/Linux/Stream/AsioStreamTLS.h"

namespace xel {

/// The works of one stream. Pending operations hold it, so that it can linger after its stream was dropped.
///
/// A message costs one wait for events, a `recv` that brings it, and one that Asio makes early and that finds
/// nothing; what is written in one pass leaves at its end in one `send`.
///
/// Thread: the loop's.
class AsioStreamConnection final : public PassEndObserver,
                                   public std::enable_shared_from_this<AsioStreamConnection> {
public:
    AsioStreamConnection(const std::shared_ptr<AsioLoopCore>& core, boost::asio::io_context& context,
                         std::shared_ptr<AsioStreamTLS> tls, ByteStreamObserver& observer,
                         const AsioByteStreamTimes& times);

    void open(std::string_view host, std::uint16_t port, bool usingTLS);
    void receive();
    void write(std::string_view octets);
    void closeAfterWriting();

    [[nodiscard]] std::string describeProgress() const;

    /// The stream was dropped: ends at once, unless it lingers.
    void drop();

    void passDidEnd() noexcept override;

private:
    static constexpr std::size_t kReadSize = 64 * 1024;

    enum class Phase { New, Connecting, ShakingHands, Open, Lingering, Over };

    // Opening
    void readTrustStoreAhead();
    void wasConnected(std::shared_ptr<AsioSocket> socket);
    void stepHandshake(std::string received);
    void handshakeStepped(const HandshakeStep& step);
    void hastenFirstAnswer();
    void becomeOpen();

    // Reading
    void startRead();
    void readEnded(const boost::system::error_code& error, std::size_t count);
    void receivedWhileShakingHands(const boost::system::error_code& error, std::string_view octets);
    void readWasRefused(const boost::system::error_code& error);
    void deliverDecrypted();
    void deliver(std::string_view octets);
    void continueReading();

    // Writing
    void planFlush();
    void flush();
    [[nodiscard]] bool encryptPlain();
    void sendOutgoing();
    void waitUntilWritable();
    void writingFailed(NSError loss);
    void everythingWasSent();
    void sendLastWords();

    // Ending
    void finishByPeer();
    void fail(const NSError& error);
    [[nodiscard]] NSError lossBecause(std::string_view cause) const;
    [[nodiscard]] NSError lossOf(const boost::system::error_code& error) const;
    void end();
    void setDeadline(std::chrono::milliseconds time, void (AsioStreamConnection::*expired)());
    void handshakeTookTooLong();
    void lingeredTooLong();
    [[nodiscard]] std::string hostAndPort() const { return host_ + ":" + std::to_string(port_); }

    std::weak_ptr<AsioLoopCore> core_;
    boost::asio::io_context& context_;
    std::shared_ptr<AsioStreamTLS> tls_;
    ByteStreamObserver* observer_;  // null once nothing more is to be told
    AsioByteStreamTimes times_;

    Phase phase_ = Phase::New;
    std::string host_;
    std::uint16_t port_ = 0;
    bool isUsingTLS_ = false;
    std::shared_ptr<AsioConnector> connector_;
    std::shared_ptr<AsioSocket> socket_;
    std::shared_ptr<TLSEngine> engine_;
    std::shared_ptr<NSTimer> deadline_;

    std::unique_ptr<char[]> received_;
    std::unique_ptr<char[]> decrypted_;
    bool isFirstAnswerAwaited_ = true;
    bool isReceiveWanted_ = false;
    bool isReading_ = false;
    bool isDelivering_ = false;

    std::string plain_;     // with TLS: written, not yet encrypted
    std::string outgoing_;  // for the network
    std::size_t sent_ = 0;  // of it
    bool isFlushPlanned_ = false;
    bool isWaitingToWrite_ = false;
    std::optional<NSError> writeFailure_;
};

}  // namespace xel
